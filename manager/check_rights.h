// The rights of the installation's folders and files.
#pragma once

#include "manager/base/faults.h"

namespace ox::manager {

// Reports each one that lets others in, with the command that mends it. True when there is none.
[[nodiscard]] bool check_rights(const FaultSink& faults);

}  // namespace ox::manager
