// Names of integer values, by the node whose values they are.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <oxbase/oxtypes.h>

namespace ox::amib {

struct EnumItem {
  std::int32_t value;
  std::string text;  // whole, number included: "up(1)"
};

struct Enumeration {
  std::string path;             // numeric
  std::vector<EnumItem> items;  // by value
};

// Sorted by path.
using EnumTable = std::vector<Enumeration>;

// Reads every enumeration file of the installation. Enumerations of nodes that the tree in use lacks are left out; of
// two enumerations of one node the one read later stays.
OX_RESULT read_enum_files(EnumTable& table);

// Adds the enumerations of one file, in the order of the file. A fault is recorded with file and line.
OX_RESULT read_enum_file(const char* path, EnumTable& table);

// Sorts by path and keeps the last enumeration of each.
void order_enumerations(EnumTable& table);

// The enumeration of the longest prefix of a numeric path: one that is given for a column holds for every instance.
[[nodiscard]] const Enumeration* find_enumeration(const EnumTable& table, std::string_view path);

// The number between the last "(" and the ")" at the end. 70, 88.
OX_RESULT item_value(const char* text, std::int32_t& value);

}  // namespace ox::amib
