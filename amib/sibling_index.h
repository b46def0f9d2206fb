// Where the far children of wide nodes lie: beside the tree, in a block that the tree's owner makes and every process
// of the machine reads.
//
// A node's first children are found by walking them; those behind stand here, by their names and by their numbers. A
// node shows by itself whether it is the one that is looked for; that there is none is believed only while the index
// knows the tree's newest node. Without an index, or with one that is behind, the siblings are walked to their end.
//
// Entries are only ever added, by one process. An index that becomes too full is followed by a larger one under a key
// of its own, which the first one tells, and stays until the tree goes: others may be reading it.
#pragma once

#include <atomic>
#include <cstdint>

#include <oxbase/oxtypes.h>

#include "amib/node.h"

namespace ox::amib {

inline constexpr unsigned near_siblings = 64;                                 // are walked
inline constexpr std::uint32_t sibling_index_keys = tree_keys - block_slots;  // behind those of the data blocks

// The block: this header, and after it the slots.
struct SiblingIndex {
  std::uint32_t format;
  std::uint32_t slots;                // a power of two, at most half of them used: open addressing, 0 is free
  std::atomic<Ref> newest;            // of the tree, when all its far children were here
  std::atomic<std::uint32_t> larger;  // in the first index: where the one to be used is, counted from here

  [[nodiscard]] const std::atomic<Ref>* entries() const noexcept {
    return reinterpret_cast<const std::atomic<Ref>*>(this + 1);
  }
  [[nodiscard]] std::atomic<Ref>* entries() noexcept { return reinterpret_cast<std::atomic<Ref>*>(this + 1); }

  // 0 when it is not there. `same` tells by reference.
  template <class Same>
  [[nodiscard]] Ref find(std::uint32_t hash, Same same) const noexcept {
    for (std::uint32_t tried = 0; tried < slots; ++tried) {
      const Ref ref = entries()[(hash + tried) & (slots - 1)].load(std::memory_order_relaxed);
      if (ref == 0 || (is_mapped(ref) && same(ref))) return ref;
    }
    return 0;
  }
};
static_assert(sizeof(SiblingIndex) == 16 && sizeof(std::atomic<Ref>) == sizeof(Ref));

// Maps that of a tree which others have made; null when there is none that this process can use. 3; the mapped platform
// error.
OX_RESULT map_sibling_index(std::uint32_t tree_key, SiblingIndex*& index);

// Tells which nodes the index holds, when it is asked for one after the other.
class Places {
 public:
  [[nodiscard]] bool is_far(Ref ref) noexcept;

 private:
  Ref last_ = 0;
  unsigned place_ = 0;  // of the last one among its siblings, as far as it is counted
};

// The owner of the tree in use adds to it: room for so many far nodes more, each of them, and that all are entered.
// False where memory is short: the tree is without an index then, or with one that stays behind.
[[nodiscard]] bool reserve_far_siblings(std::uint32_t nodes) noexcept;
void enter_far_sibling(Ref ref) noexcept;
void publish_sibling_index() noexcept;

}  // namespace ox::amib
