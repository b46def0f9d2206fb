// Trap definitions for the tool: checked, and explained for one trap.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/trap_record.h"

namespace tool {

using Definitions = Owner<oxcTrConf, oxcTrFreeConf>;

// The installation's definitions.
[[nodiscard]] Definitions read_definitions();

// Null when nothing defines the trap.
[[nodiscard]] const oxcTrTag* definition_of(const oxcTrConf* list, const Trap& trap);

// Checks files, none for those of the installation: their lines, definitions that are never used, and their samples.
// Prints the faults. The number of faults.
std::size_t check_definitions(std::vector<std::string> files);

// Prints what defines a trap and why, what came close, and a definition to paste when nothing defines it.
void explain(const oxcTrConf* list, const Trap& trap, const std::string& datagram);

}  // namespace tool
