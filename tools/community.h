// Communities are passwords: they are shown to who asks for them.
#pragma once

#include <string>

namespace tool {

class Command;

// The option "--communities", for what a command prints from then on.
void add_communities_option(Command& command);
// What is printed of one.
[[nodiscard]] std::string shown_community(const std::string& community);

}  // namespace tool
