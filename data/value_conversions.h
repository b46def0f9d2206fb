// The conversions that the value type rows name. A value too short for its type, which only a peer or a raw setter can
// make, is shown as its bytes.
#pragma once

#include <cstdint>

#include <oxbase/oxtypes.h>

#include "data/dnode.h"
#include "data/growing_text.h"
#include "data/value_types.h"

namespace ox::data {

// Text to value.
OX_RESULT parse_signed(std::uint32_t type, const char* text, ParsedValue& value);
OX_RESULT parse_unsigned(std::uint32_t type, const char* text, ParsedValue& value);
OX_RESULT parse_unsigned64(std::uint32_t type, const char* text, ParsedValue& value);
OX_RESULT parse_ticks(std::uint32_t type, const char* text, ParsedValue& value);
OX_RESULT parse_time(std::uint32_t type, const char* text, ParsedValue& value);
OX_RESULT parse_address(std::uint32_t type, const char* text, ParsedValue& value);
OX_RESULT parse_hex(std::uint32_t type, const char* text, ParsedValue& value);
OX_RESULT parse_text(std::uint32_t type, const char* text, ParsedValue& value);
OX_RESULT parse_path(std::uint32_t type, const char* text, ParsedValue& value);
OX_RESULT parse_mark(std::uint32_t type, const char* text, ParsedValue& value);
OX_RESULT parse_ipx(std::uint32_t type, const char* text, ParsedValue& value);
OX_RESULT parse_ipv6(std::uint32_t type, const char* text, ParsedValue& value);
OX_RESULT parse_prefix(std::uint32_t type, const char* text, ParsedValue& value);
OX_RESULT parse_interface_id(std::uint32_t type, const char* text, ParsedValue& value);
OX_RESULT parse_code(std::uint32_t type, const char* text, ParsedValue& value);

// Displayed text to value, for a node that may have a name. 61 for a type without texts.
OX_RESULT parse_shown(const dnode& node, std::uint32_t type, const char* text, ParsedValue& value);

// Value to text.
const char* print_named_number(const dnode& node, GrowingText& out);  // by the attribute's enumeration
const char* print_signed(const dnode& node, GrowingText& out);
const char* print_unsigned(const dnode& node, GrowingText& out);
const char* print_unsigned64(const dnode& node, GrowingText& out);
const char* print_ticks(const dnode& node, GrowingText& out);
const char* print_time(const dnode& node, GrowingText& out);
const char* print_address(const dnode& node, GrowingText& out);
const char* print_readable(const dnode& node, GrowingText& out);  // as characters if all are, else in hex; cut
const char* print_opaque(const dnode& node, GrowingText& out);    // a wrapped number as such, else as print_readable()
const char* print_hex(const dnode& node, GrowingText& out);
const char* print_text(const dnode& node, GrowingText& out);
const char* print_path(const dnode& node, GrowingText& out);
const char* print_null(const dnode& node, GrowingText& out);
const char* print_deleted(const dnode& node, GrowingText& out);
const char* print_ipx(const dnode& node, GrowingText& out);
const char* print_ipv6(const dnode& node, GrowingText& out);
const char* print_prefix(const dnode& node, GrowingText& out);
const char* print_interface_id(const dnode& node, GrowingText& out);
const char* print_code(const dnode& node, GrowingText& out);

}  // namespace ox::data
