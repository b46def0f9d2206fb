// Backups of the databases.
#pragma once

#include <string>

#include "manager/base/faults.h"
#include "manager/storage/check.h"

namespace ox::manager {

// Copies the databases, whether or not the manager works on them, into a folder of its own under "backup" of the work
// folder; tells which, and what they hold. False, with the reason, when that fails.
[[nodiscard]] bool back_up(const FaultSink& faults, const Tell& tell);

// Puts the databases of such a folder in place; those that are there are set aside under dated names. False, with the
// reason, when that fails; nothing is changed when the folder's are not sound or a manager runs.
[[nodiscard]] bool restore(const std::string& folder, const FaultSink& faults, const Tell& tell);

}  // namespace ox::manager
