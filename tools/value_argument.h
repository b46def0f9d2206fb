// Values given on a command line.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <oxbase/oxd.h>

namespace tool {

// The value types that have a text form, by name.
extern const std::map<std::string, uint32_t> value_types;

// Names a node and gives it a value, as oxdSetValueByShown reads it. Type 0 is that of the attribute in the tree.
// Throws Failure with the subject.
void set_value(dnode* node, const std::string& name, uint32_t type, const std::string& text,
               const std::string& subject);

// Words as one text, which comes apart into the same words when a program is started with it.
[[nodiscard]] std::string one_text(const std::vector<std::string>& words);

}  // namespace tool
