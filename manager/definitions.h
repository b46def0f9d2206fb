// The AMIB definition files of the installation, and the tree made of them.
#pragma once

#include <string>
#include <vector>

#include <oxbase/oxtypes.h>

#include "manager/base/faults.h"

namespace ox::manager {

// The definition files under the work directory: the base file first, the user file last.
[[nodiscard]] std::vector<std::string> amib_files(const FaultSink& faults, bool& sound);

// Attaches the process to the tree of these files: to the one that exists when it was made of the same files, else to a
// new one. 0; 122 without files; 416 when processes still hold a tree of other files. Faults are reported.
[[nodiscard]] OX_RESULT hold_tree(const std::vector<std::string>& files, const FaultSink& faults);

// Loads the files into the selected tree, in passes, so that a file may refer to nodes of a later one. The files that
// could not be loaded stay in `files`. Returns the first of their errors.
[[nodiscard]] OX_RESULT load_in_passes(std::vector<std::string>& files);

// What the last load's error says, with its position.
void report_load_error(const std::string& file, OX_RESULT result, const FaultSink& faults);

}  // namespace ox::manager
