// One node line of a definition file: "name parent.number type access interface".
#pragma once

#include <cstdint>

#include <oxbase/oxtypes.h>

namespace ox::amib {

struct NodeLine {
  const char* name;
  const char* parent;
  std::uint32_t number;
  const char* type;
  const char* access;
  const char* interface_word;
};

// The fields of a line, split in place; all null when the line has none. Fields beyond the fifth are ignored, and so is
// a quote that stays open: files in the field rely on it. 4 for any other number of fields.
struct Fields {
  char* text[5];
};
OX_RESULT split_fields(char* line, Fields& fields);

// 4 when the second field has no ".", 70 or 88 for its number.
OX_RESULT parse_node_line(const Fields& fields, NodeLine& line);

// First a letter, then letters, digits or "-"; fewer than 64 characters.
[[nodiscard]] bool is_node_name(const char* name) noexcept;

// The codes of the three keywords: 61, 132, 133 for an unknown one.
struct NodeCodes {
  std::uint32_t type;
  std::uint32_t access;
  std::uint32_t interface_code;
};
OX_RESULT convert_keywords(const NodeLine& line, NodeCodes& codes);

}  // namespace ox::amib
