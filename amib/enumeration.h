// Names of integer values, by the node whose values they are.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <oxbase/oxtypes.h>

#include "amib/fault_sink.h"

namespace ox::amib {

struct EnumItem {
  std::int32_t value;
  std::string text;  // whole, number included: "up(1)"
};

struct Enumeration {
  std::string path;             // numeric
  std::vector<EnumItem> items;  // by value
  OX_RESULT fault = OX_OK;      // of an item: the enumeration is lost, and this is what is said of its values
};

// Sorted by path.
using EnumTable = std::vector<Enumeration>;

// Reads every enumeration file. Enumerations of nodes that the tree in use lacks are left out; of two enumerations of
// one node the one read later stays, unless it alone is lost.
OX_RESULT read_enum_files(const std::vector<std::string>& files, EnumTable& table);

// Adds the enumerations of one file, in the order of the file. A fault that is more than an item's ends the reading,
// and is recorded with file and line.
OX_RESULT read_enum_file(const char* path, EnumTable& table);
// Reads on behind every fault, and tells all of them: also what reading passes over.
OX_RESULT check_enum_file(const char* path, const FaultSink& faults);

// Sorts by path and keeps one enumeration of each.
void order_enumerations(EnumTable& table);

// The enumeration of the longest prefix of a numeric path: one that is given for a column holds for every instance.
[[nodiscard]] const Enumeration* find_enumeration(const EnumTable& table, std::string_view path);

// The number between the last "(" and the ")" at the end. 70, 88.
OX_RESULT item_value(const char* text, std::int32_t& value);

}  // namespace ox::amib
