// Data nodes for people and for machines.
#pragma once

#include <string>

#include <oxbase/oxd.h>

namespace tool {

// A path's dotted name, with the two long standard prefixes in their short forms; the path where it has none.
[[nodiscard]] std::string shown_name(const std::string& path);

// Prints a table: component, attribute, value or error. True when no node carries an error.
bool print_table(dnode* list, bool raw);

// Prints every node by a format of oxdDnodeToStr, in which \n, \t and \\ are understood.
bool print_formatted(dnode* list, const std::string& format);

// Prints a JSON array: {"component", "name", "path", "type", "value", "text"} or {..., "error", "message"}.
// Indent -1 puts it on one line.
bool print_json(dnode* list, int indent = 2);

}  // namespace tool
