// What is asked of the manager that is at work: its databases are its own.
#pragma once

#include <cstdint>
#include <optional>

#include "manager/base/faults.h"
#include "manager/storage/check.h"

namespace ox::manager {

// Sends the management code, and tells what comes back. Whether all is well; nothing when no manager serves the
// installation.
[[nodiscard]] std::optional<bool> ask_manager(std::uint32_t code, const FaultSink& faults, const Tell& tell);

}  // namespace ox::manager
