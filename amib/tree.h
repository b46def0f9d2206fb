// The tree that this process has in use: its directory block and its data blocks; and which tree is being built.
// Not locked: attaching, building and deleting are done at start-up or by the single owner of the tree. Afterwards the
// tree is only read, from any thread.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

#include <oxbase/oxb.h>

#include "amib/node.h"

namespace ox::amib {

// The directory block, shared by every process of the machine.
struct Directory {
  Ref root;
  Ref newest;                      // head of the created-before chain
  std::uint32_t key[block_slots];  // of the data blocks, 0 while a slot is free; slot 0 is not used
};
static_assert(sizeof(Directory) == 8200 && offsetof(Directory, key) == 8);

struct SiblingIndex;

// The tree's index of far children (amib/sibling_index.h), and what its owner has entered.
struct Siblings {
  SiblingIndex* index = nullptr;
  std::uint32_t nodes = 0;
  bool lost = false;  // for want of memory: it is not all of them
};

// What the process has mapped of one tree. A tree without a root is not attached.
struct View {
  std::uint32_t key = 0;  // base key
  Directory* directory = nullptr;
  Ref root = 0;
  Siblings siblings;
  std::array<char*, block_slots> blocks{};
};

namespace detail {
extern std::atomic<bool> attached;
extern Ref root;
extern Siblings siblings;
}  // namespace detail

// Whether a whole tree is in use. Every path and name operation answers 14 without one.
[[nodiscard]] inline bool is_attached() noexcept { return detail::attached.load(std::memory_order_acquire); }
[[nodiscard]] inline Ref root() noexcept { return detail::root; }
[[nodiscard]] inline const Siblings& current_siblings() noexcept { return detail::siblings; }

// The tree in use, and its replacement by another one.
[[nodiscard]] View current_view();
void use_view(const View& view);
[[nodiscard]] Directory* directory() noexcept;
[[nodiscard]] std::uint32_t view_key() noexcept;
// Counts the replacements, and the blocks given up: what was remembered of nodes before is void.
[[nodiscard]] std::uint32_t view_generation() noexcept;

// Adds a data block to the tree in use; null gives it up.
void set_block(std::uint32_t index, char* base);
void use_siblings(const Siblings& siblings) noexcept;
// Takes the root from the directory: the tree in use can be read from now on.
void open_for_readers();

// What is selected for building, and what the calling thread has built. Only the thread that built a tree adds to it.
struct Selection {
  std::uint32_t key = 0;        // base key selected, 0 at first
  std::uint32_t built_key = 0;  // base key of the tree that this thread has built, else 0
};
[[nodiscard]] Selection selection();
void set_selection(const Selection& selection);

void select_tree(std::uint32_t key);
// Takes the names from a tree's blocks, wherever they are held.
OX_RESULT supersede_tree(std::uint32_t key);
OX_RESULT delete_tree(std::uint32_t key);
// The same for a tree that this process has mapped; cannot fail.
void give_up_tree(std::uint32_t key);

}  // namespace ox::amib
