// What the loader looks up for every line, by hash instead of by walking the tree: the newest node of a name, a node's
// children by number and by name, and its last child. The answers are those of the walks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "amib/name_hash.h"
#include "amib/node.h"

namespace ox::amib {

// References by hash, in open addressing. Two entries that are the same in the caller's sense are not both kept.
class RefTable {
 public:
  // Makes room for one more entry. Throws std::bad_alloc.
  void reserve_one();
  void clear() noexcept;

  // The entry, to be read or replaced; null when there is none. `same` tells by reference.
  template <class Same>
  [[nodiscard]] Ref* find(std::uint32_t hash, Same same) noexcept {
    if (entries_.empty()) return nullptr;
    for (std::size_t i = hash & mask();; i = (i + 1) & mask()) {
      Entry& entry = entries_[i];
      if (entry.ref == 0) return nullptr;
      if (entry.hash == hash && same(entry.ref)) return &entry.ref;
    }
  }
  void insert(std::uint32_t hash, Ref ref) noexcept;
  void erase(Ref* found) noexcept;

 private:
  struct Entry {
    std::uint32_t hash;
    Ref ref;
  };

  [[nodiscard]] std::size_t mask() const noexcept { return entries_.size() - 1; }

  std::vector<Entry> entries_;  // a power of two, at most three quarters used
  std::size_t used_ = 0;
};

class NodeIndex {
 public:
  void clear() noexcept;
  // Indexes the whole tree, walking the chain of creation from its newest node. Throws std::bad_alloc.
  void rebuild(Ref newest);

  // 0 when there is none.
  [[nodiscard]] Ref newest_named(std::string_view name) noexcept;
  [[nodiscard]] Ref child_numbered(Ref parent, std::uint32_t number) noexcept;
  [[nodiscard]] Ref child_named(Ref parent, std::string_view name) noexcept;
  [[nodiscard]] Ref last_child(Ref parent) noexcept;

  // Makes room for one more node. Throws std::bad_alloc; insert and erase do not.
  void reserve_one();
  // Adds a node that has been linked as the newest of all and the last child of its parent. Returns the node that was
  // the newest of that name before, or 0.
  Ref insert(Ref node) noexcept;
  // Takes out the node that was inserted last; it must still be linked.
  void erase(Ref node, Ref same_name_before) noexcept;

 private:
  void insert_child(Ref node) noexcept;

  RefTable names_;
  RefTable numbered_;
  RefTable named_;
  RefTable last_;
};

}  // namespace ox::amib
