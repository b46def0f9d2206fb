// The AMIB definition files of the installation, and the tree made of them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "manager/base/faults.h"

namespace ox::manager {

// The definition files under the work directory that can be used, the base file first and the user file last. Those
// with faults are left out, and the rest is checked as far as it goes without them: every fault of the definitions, of
// the enumerations and of the descriptions is told, and clears `sound`. Writes nothing.
[[nodiscard]] std::vector<std::string> sound_amib_files(const FaultSink& faults, bool& sound);

// Calls with a tree of these files as the one in use, for as long as the call takes; not at all when there is none.
void with_scratch_tree(const std::vector<std::string>& files, const std::function<void()>& call);

// Attaches the process to the tree of these files: to the one that exists when it was made of the same files, else to a
// new one. Processes that hold an older tree keep it; where its name goes with its last holder, it has to be used here,
// too, and `outdated` says so. 0; 122 without files.
[[nodiscard]] OX_RESULT hold_tree(const std::vector<std::string>& files, bool& outdated);

}  // namespace ox::manager
