// Kinds of the typed members that records are made of: what an accessor takes and gives, and how a member gets its
// value, loses it and is read. A record's table names a kind for each of its fields; a member without value is all
// zero.
#pragma once

#include <cstdint>
#include <cstring>
#include <utility>

#include <oxbase/oxd.h>

#include "common/memory.h"

namespace ox::field {

using Number = std::uint32_t;

// An owned text, its terminator counted in the size. Its block reaches on to the next multiple of copy_step, so that
// whole steps can be read from it.
inline constexpr std::uint32_t copy_step = 16;
struct Text {
  char* text;
  std::uint32_t size;
};

// A text that may be longer than a 16-bit length can tell.
struct Memo : Text {};

// Network and node of an IPX address, opaque.
struct Address {
  unsigned char bytes[10];
};

// Data nodes of the record's own.
using NodeList = dnode*;

// The types that accessors of a kind take and give.
template <class Kind>
struct Access {  // texts
  using In = const char*;
  using Out = const char**;
};
template <>
struct Access<Number> {
  using In = std::uint32_t;
  using Out = std::uint32_t*;
};
template <>
struct Access<NodeList> {
  using In = const dnode*;
  using Out = dnode**;
};
template <>
struct Access<Address> {
  using In = const void*;
  using Out = void*;
};

// A member's value, the record's own: texts and lists last until the member changes.
[[nodiscard]] inline Number view(Number member) noexcept { return member; }
[[nodiscard]] inline const char* view(const Text& member) noexcept { return member.text; }
[[nodiscard]] inline dnode* view(NodeList member) noexcept { return member; }
[[nodiscard]] inline const void* view(const Address& member) noexcept { return member.bytes; }

// Hands a member's value out, as the getters do.
inline void give(const Address& member, void* out) noexcept { std::memcpy(out, member.bytes, sizeof member.bytes); }
template <class Kind, class Out>
void give(const Kind& member, Out* out) noexcept {
  *out = view(member);
}

// Releases what the member owns.
inline void clear(Number& member) noexcept { member = 0; }
inline void clear(Text& member) noexcept {
  (void)oxcMemFree(member.text);
  member = {};
}
inline void clear(NodeList& member) noexcept { (void)oxdFree(std::exchange(member, nullptr)); }
inline void clear(Address& member) noexcept { member = {}; }

// Gives the member a copy of a value, which may be its own; null clears it. 3, with the member as it was.
[[nodiscard]] inline OX_RESULT assign(Number& member, Number value) noexcept {
  member = value;
  return OX_OK;
}
[[nodiscard]] OX_RESULT assign(Text& member, const char* text, const char* tag = "str_set") noexcept;
[[nodiscard]] OX_RESULT assign(NodeList& member, const dnode* list) noexcept;
[[nodiscard]] inline OX_RESULT assign(Address& member, const void* address) noexcept {
  if (address == nullptr) {
    clear(member);
  } else {
    std::memmove(member.bytes, address, sizeof member.bytes);
  }
  return OX_OK;
}

}  // namespace ox::field
