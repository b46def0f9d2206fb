// A node of the tree: its reference, its record in a shared block, and how one leads to the other.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "common/protocol.h"

namespace ox::amib {

// Names a node in every process that maps the tree, whatever the addresses: bits 21 to 31 the data block (1 to 2047),
// bits 0 to 20 the byte offset of the record in it. 0 is no node.
using Ref = std::uint32_t;

inline constexpr unsigned offset_bits = 21;
inline constexpr std::uint32_t offset_mask = (1u << offset_bits) - 1;
inline constexpr std::uint32_t block_size_limit = 1u << offset_bits;  // a block stays below it
inline constexpr std::uint32_t block_slots = tree_blocks;             // slot 0 is never a data block
inline constexpr std::size_t name_limit = 64;                         // with the terminator

// The layout is shared by every process of the machine: little-endian words at fixed offsets. The name follows the
// record, ends in a zero byte and is padded with zero bytes to a multiple of 4.
struct Node {
  std::uint32_t number;
  std::uint32_t type;
  std::uint32_t access;
  std::uint32_t interface_code;
  Ref parent;
  Ref child;  // first child
  Ref prev;   // siblings, in the order of their creation
  Ref next;
  Ref created_before;  // the node created just before this one, in the whole tree

  [[nodiscard]] const char* name() const noexcept { return reinterpret_cast<const char*>(this + 1); }
  [[nodiscard]] char* name() noexcept { return reinterpret_cast<char*>(this + 1); }
};
static_assert(sizeof(Node) == 36 && offsetof(Node, created_before) == 32);

// Bytes that a node with a name of that length takes in its block.
[[nodiscard]] constexpr std::uint32_t record_size(std::size_t name_length) noexcept {
  return static_cast<std::uint32_t>((sizeof(Node) + name_length + 1 + 3) / 4 * 4);
}

// Where this process has mapped the data blocks of the tree in use; null for a block that it has not mapped.
extern std::array<char*, block_slots> block_base;

// False for 0, and for a node that the tree's owner added in a new block after this process had attached.
[[nodiscard]] inline bool is_mapped(Ref ref) noexcept { return block_base[ref >> offset_bits] != nullptr; }

// The reference must be that of a mapped node.
[[nodiscard]] inline Node& node_at(Ref ref) noexcept {
  return *reinterpret_cast<Node*>(block_base[ref >> offset_bits] + (ref & offset_mask));
}

[[nodiscard]] constexpr Ref make_ref(std::uint32_t block, std::uint32_t offset) noexcept {
  return (block << offset_bits) | offset;
}

}  // namespace ox::amib
