// Fills one data block of the tree in use with nodes, and takes them out again when the file turns out to be faulty.
#pragma once

#include <cstdint>
#include <vector>

#include <oxbase/oxtypes.h>

#include "amib/node.h"
#include "amib/node_line.h"

namespace ox::amib {

class BlockBuilder {
 public:
  // The block, mapped already, of `size` zero bytes.
  BlockBuilder(std::uint32_t index, std::uint32_t size) : index_(index), size_(size) {}

  OX_RESULT create_root();
  // Adds the node of a line, or merges the line with a node that is there already. 125, 131, 61, 132, 133, 130, 129 as
  // they are found in this order; 3 when memory runs out or the block is full. A failure changes no node.
  OX_RESULT create_entry(const NodeLine& line);

  // Unlinks every node of the block, takes back what its lines added to other nodes, and gives the block up.
  void discard();
  // Enters what has been created into the tree's index of far siblings.
  void index_siblings() const noexcept;

 private:
  struct Change {
    Ref node;
    Ref same_name_before;         // of a node that was linked
    std::uint32_t access_before;  // of a node that was there
    bool linked;
  };

  [[nodiscard]] Ref take_record(const char* name, std::uint32_t number) noexcept;
  OX_RESULT merge(Ref numbered, Ref named, Ref parent, Ref made);
  void link(Ref node, Ref parent) noexcept;
  void unlink(Ref node) noexcept;

  std::uint32_t index_;
  std::uint32_t size_;
  std::uint32_t used_ = 0;
  std::vector<Change> changes_;
};

}  // namespace ox::amib
