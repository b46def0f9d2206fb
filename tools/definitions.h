// The installation's definition files, and the attribute tree that they make.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/library.h"

namespace tool {

// Attaches the manager's attribute tree; without a manager, loads the installation's definition files into a tree of
// this process's own, as far as they are sound: the others are named on the standard error stream.
void attach_tree();

// Loads definition files into a tree of this process's own, in any order. Calls `fault` for every fault of every file.
using Fault = std::function<void(const std::string& file, uint32_t line, OX_RESULT code, const std::string& subject)>;
void load_tree(const std::vector<std::string>& files, Fault fault);
// The same for a file of enumerations or descriptions; null: all of the installation.
void check_texts(const char* file, Fault fault);
// "file:line: error 61: AMIB: text"
std::string fault_line(const std::string& file, uint32_t line, OX_RESULT code, const std::string& subject);

// The installation's attribute definition files, in reading order.
std::vector<std::string> definition_files();

}  // namespace tool
