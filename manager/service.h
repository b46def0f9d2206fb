// The daemon's entry in the system's service manager.
#pragma once

namespace ox::manager {

// The exit code; what keeps them from it is logged with the next step.
int install_service();
int remove_service();
// Runs the daemon as the service manager has started it.
int run_as_service();

}  // namespace ox::manager
