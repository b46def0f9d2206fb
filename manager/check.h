// The check of a whole installation.
#pragma once

#include "manager/base/faults.h"
#include "manager/storage/check.h"

namespace ox::manager {

// Reads every file that the manager and the library take from the installation, and reports every fault. True when
// there is none. Tells what sound databases hold. Changes nothing.
[[nodiscard]] bool check_installation(const FaultSink& faults, const Tell& tell);

}  // namespace ox::manager
