// The data node's fields, one row each, in the order in which they travel. Copy, release, size, encode, decode and the
// exported accessors are made from these rows.
#pragma once

#include <cstdint>
#include <tuple>

#include <oxbase/oxtypes.h>

#include "data/dnode.h"

namespace ox::data {

// The tags of a field's blocks, by what allocated them.
struct FieldTags {
  const char* copy;
  const char* decode;
  const char* set;
};

// kind of accessors, stem, member, presence bit, code when absent, code for an empty text, tags
#define OX_DNODE_FIELDS(X)                                                                                \
  X(TEXT, CompName, comp_name, OX_ENOCOMPNAME, OX_ECOMPNAME, "dn_comp_000", "dn_comp_001", "dn_comp_002") \
  X(TEXT, CompType, comp_type, OX_ENOCOMPTYPE, OX_ECOMPTYPE, "dn_type_000", "dn_type_001", "dn_type_002") \
  X(PATH, AmibName, amib_name, OX_ENOAMIBNAME, OX_EAMIBNAME, "dn_amib_000", "dn_amib_001", "dn_amib_002") \
  X(NUMBER, ReqTime, req_time, OX_ENOREQTIME, OX_OK, nullptr, nullptr, nullptr)                           \
  X(NUMBER, RspTime, rsp_time, OX_ENORSPTIME, OX_OK, nullptr, nullptr, nullptr)                           \
  X(NUMBER_OR_0, DnodeId, id, OX_ENODNODEID, OX_OK, nullptr, nullptr, nullptr)                            \
  X(NUMBER_OR_0, ErrCode, err_code, OX_ENOERRCODE, OX_OK, nullptr, nullptr, nullptr)                      \
  X(VALUE, Value, value, OX_ENOVALUE, OX_OK, "dn_value_014", "dn_value_015", "dn_value_016")

template <class Member>
struct Field {
  Member dnode::*member;
  std::uint32_t bit;
  OX_RESULT absent;
  OX_RESULT empty;
  FieldTags tags;
};

// fields::comp_name, fields::comp_type, ...
namespace fields {
#define X(kind, Stem, member, absent, empty, copy_tag, decode_tag, set_tag) \
  inline constexpr Field<decltype(dnode::member)> member{                   \
      &dnode::member, bit::member, absent, empty, {copy_tag, decode_tag, set_tag}};
OX_DNODE_FIELDS(X)
#undef X
}  // namespace fields

// Calls `visit` with every row in order until it answers false. The calls are made at compile time, one by one, so that
// what `visit` does with a row's member, bit and tags is inlined.
template <class Visit>
[[gnu::always_inline]] inline bool every_field(Visit&& visit) {
#define X(kind, Stem, member, absent, empty, copy_tag, decode_tag, set_tag) &&visit(fields::member)
  return true OX_DNODE_FIELDS(X);
#undef X
}

// The bits that travel.
inline constexpr std::uint32_t wire_bits = [] {
  std::uint32_t bits = 0;
#define X(kind, Stem, member, absent, empty, copy_tag, decode_tag, set_tag) bits |= bit::member;
  OX_DNODE_FIELDS(X)
#undef X
  return bits;
}();
static_assert(wire_bits == 0x27F);

// Owners, one set of overloads per kind of member.
inline void release(const dnode& node, Text& field) noexcept {
  if (field.text != node.path_room) (void)oxcMemFree(field.text);
  field = {};
}
inline void release(const dnode& node, Value& field) noexcept {
  if (field.bytes != node.value_room) (void)oxcMemFree(field.bytes);
  field = {};
}
template <class Number>
inline void release(const dnode&, Number& field) noexcept {
  field = 0;
}

template <class Member>
inline void clear(dnode& node, const Field<Member>& field) noexcept {
  if (node.has(field.bit)) release(node, node.*field.member);
  node.present &= ~field.bit;
}

// Room for a text of `size` bytes: the record's own for a path that fits, else a block. Null when memory runs out.
[[nodiscard]] inline char* text_room(dnode& node, const Field<Text>& field, std::uint32_t size,
                                     const char* tag) noexcept {
  if (field.bit == bit::amib_name && size <= path_room) return node.path_room;
  return static_cast<char*>(oxcMemAlloc(size, tag));
}

// A text of `text` and a terminator in place of the field's. 3, with the field as it was.
[[nodiscard]] OX_RESULT assign(dnode& node, const Field<Text>& field, std::string_view text, const char* tag) noexcept;

}  // namespace ox::data
