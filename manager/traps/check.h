// The check of the trap definitions.
#pragma once

#include "manager/base/faults.h"

namespace ox::manager {

// Reports every fault of the files in "public/trap" and "public/alblock". True when there is none.
[[nodiscard]] bool check_trap_definitions(const FaultSink& faults);

}  // namespace ox::manager
