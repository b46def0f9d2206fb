#include "tools/community.h"

#include "tools/cli.h"

namespace tool {
namespace {

bool shown = false;

}  // namespace

void add_communities_option(Command& command) {
  command.add_flag("--communities", shown, "show communities of traps, which are passwords (default: ***)");
}

std::string shown_community(const std::string& community) { return shown || community.empty() ? community : "***"; }

}  // namespace tool
