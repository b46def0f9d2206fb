// What a data node does with a value type: one row per type code. Adding a type is adding a row here and its keyword in
// common/value_type_table.h.
#pragma once

#include <array>
#include <cstdint>

#include <oxbase/oxtypes.h>

#include "common/memory.h"
#include "common/value_type_table.h"

struct dnode;

namespace ox::data {

class GrowingText;

// How a value lies in its block.
enum class Stored : std::uint8_t {
  none,        // not a value
  number32,    // 4 bytes in network order
  address,     // 4 bytes as given, which is network order
  bytes,       // as given
  terminated,  // as given; a zero byte after them that the size does not count
  text,        // with its terminator, which the size counts
  mark,        // 1 byte without meaning
  number64,    // 8 bytes in network order
  ipx,         // 10 bytes
};

// A value as a parser makes it.
struct ParsedValue {
  tracked_ptr<unsigned char[]> bytes;
  std::uint32_t size = 0;
};

struct ValueType {
  std::uint32_t code;
  Stored stored;
  std::uint8_t snmp_tag;  // BER tag on encoding; 0: SNMP does not carry the type
  // Makes the stored form of a text; `type` is the row's code. On failure `value` is as it was. May throw bad_alloc.
  OX_RESULT (*parse)(std::uint32_t type, const char* text, ParsedValue& value);
  // The text of a node's value of this type: a constant, or made in `out`. Null when memory runs out.
  const char* (*display)(const dnode& node, GrowingText& out);
  const char* (*raw)(const dnode& node, GrowingText& out);
};

// The stored form of what oxdSetValue takes. 61, 3; 1 for null bytes of a size over 0.
[[nodiscard]] OX_RESULT make_value(std::uint32_t type, std::uintptr_t value, std::uint32_t size,
                                   ParsedValue& made) noexcept;

// Indexed by code.
extern const std::array<ValueType, value_type_count> value_types;

// The row of a type; that of code 0, which has no conversions, for a number that is no type.
[[nodiscard]] inline const ValueType& value_type(std::uint32_t type) noexcept {
  return value_types[type < value_type_count ? type : 0];
}

}  // namespace ox::data
