// The data node record, and what the floors above may do with one beside its exported accessors.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <type_traits>

#include <oxbase/oxd.h>

#include "common/memory.h"

namespace ox::data {

// An owned text of `size` bytes with its terminator: a tracked block, or the record's own room. All zero when absent.
struct Text {
  char* text;
  std::uint32_t size;
};

// An owned value in its stored form: a tracked block, or the record's own room. A block may be longer than `size`;
// nothing is read past it.
struct Value {
  void* bytes;
  std::uint32_t size;
  std::uint32_t type;

  [[nodiscard]] std::string_view view() const noexcept { return {static_cast<const char*>(bytes), size}; }
};

// What a record holds itself: numbers, addresses, and the name of an interface; the path of its counter.
inline constexpr std::uint32_t value_room = 24;
inline constexpr std::uint32_t path_room = 48;

// Presence bits of dnode::present. All but amib_entry are those of the encoding.
namespace bit {
inline constexpr std::uint32_t comp_name = 0x001;
inline constexpr std::uint32_t comp_type = 0x002;
inline constexpr std::uint32_t amib_name = 0x004;
inline constexpr std::uint32_t req_time = 0x008;
inline constexpr std::uint32_t rsp_time = 0x010;
inline constexpr std::uint32_t err_code = 0x020;
inline constexpr std::uint32_t value = 0x040;
inline constexpr std::uint32_t amib_entry = 0x080;
inline constexpr std::uint32_t id = 0x200;
}  // namespace bit

}  // namespace ox::data

// A field whose bit is clear is all zero. A record does not move: its texts may lie in it.
struct dnode {
  dnode* next;
  dnode* prev;
  std::uint32_t present;
  std::uint32_t id;
  std::uint32_t req_time;
  std::uint32_t rsp_time;
  std::uint32_t amib_entry;  // the tree's node of amib_name, kept on first use
  std::uint16_t err_code;
  ox::data::Text comp_name;
  ox::data::Text comp_type;
  ox::data::Text amib_name;  // numeric path
  ox::data::Value value;
  // Where most paths and values lie: a record of a poll is then one block. Not cleared.
  alignas(8) unsigned char value_room[ox::data::value_room];
  char path_room[ox::data::path_room];

  [[nodiscard]] bool has(std::uint32_t bits) const noexcept { return (present & bits) != 0; }
};
static_assert(std::is_standard_layout_v<dnode> && offsetof(dnode, next) == 0 && offsetof(dnode, prev) == sizeof(void*));

namespace ox::data {

struct DnodeDelete {
  void operator()(dnode* list) const noexcept { (void)oxdFree(list); }
};
// Owns a node and the rest of its list.
using dnode_ptr = std::unique_ptr<dnode, DnodeDelete>;

// An empty node on no list. Null when memory runs out.
[[nodiscard]] dnode_ptr make_dnode() noexcept;

// The bodies of the exported setters of the same meaning. On failure the node is as it was.
[[nodiscard]] OX_RESULT set_value(dnode& node, std::uint32_t type, std::uintptr_t value, std::uint32_t size) noexcept;
[[nodiscard]] OX_RESULT set_bytes(dnode& node, std::uint32_t type, const void* bytes, std::uint32_t size) noexcept;
void set_err_code(dnode& node, std::uint32_t code) noexcept;

// A numeric path, taken as it stands; the kept tree node is dropped.
[[nodiscard]] OX_RESULT set_amib_path(dnode& node, std::string_view path) noexcept;

// The numeric path of a name: digits and dots as they stand, any other through the tree. 125 for null and empty names,
// else the tree's error. A converted path stands in the tree's buffer of the thread.
[[nodiscard]] OX_RESULT access_path(const char* name, const char*& path) noexcept;

// Makes a value of a node that has none: room for `size` bytes, and for types that users read as texts a zero byte
// after them, which stands there already. Null when memory runs out, with the node as it was.
[[nodiscard]] unsigned char* new_value(dnode& node, std::uint32_t type, std::uint32_t size, const char* tag) noexcept;

// Takes over a block as the value.
void take_value(dnode& node, std::uint32_t type, std::uint32_t size, tracked_ptr<unsigned char[]> bytes) noexcept;

// The tree's node of the AMIB name. 27, or the tree's error.
[[nodiscard]] OX_RESULT amib_entry_of(dnode& node, std::uint32_t& entry) noexcept;

}  // namespace ox::data
