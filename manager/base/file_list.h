// The definition files of a directory.
#pragma once

#include <string>
#include <vector>

#include "manager/base/faults.h"

namespace ox::manager {

// Full paths, the base file first and the user file last. A missing directory has no files; one that cannot be listed
// is reported and clears `sound`.
[[nodiscard]] std::vector<std::string> definition_files(const std::string& directory, const FaultSink& faults,
                                                        bool& sound);

// Those of the AMIB; the directory is for the fault alone.
[[nodiscard]] std::vector<std::string> amib_files(const std::string& directory, const FaultSink& faults, bool& sound);

}  // namespace ox::manager
