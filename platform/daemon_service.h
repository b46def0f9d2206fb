// A daemon as a service of the system: what it tells the service manager that has started it, and on Windows its entry
// there. On Linux systemd starts it by a unit, and nothing of this is needed without.
#pragma once

#include <chrono>

#include "platform/error.h"

namespace ox::platform {

// It is told where a service manager has started this process and asked for it; else nothing happens.
enum class DaemonState { ready, alive, stopping };
void tell_state(DaemonState state) noexcept;

// How often the service manager wants to hear that the daemon is alive; 0: not at all.
[[nodiscard]] std::chrono::milliseconds alive_interval() noexcept;

// The daemon's entry in the service manager: it is started with the machine, as "program option".
struct ServiceEntry {
  const char* name;
  const char* title;
  const char* log_source;  // under which it writes to the system's event log
  const char* option;
};
// error_not_supported where a unit file says all that. What is there already is changed to this.
[[nodiscard]] Error install_service(const ServiceEntry& entry);
[[nodiscard]] Error remove_service(const ServiceEntry& entry);

// Runs the daemon of a process that the service manager has started; its result goes there, too. The manager's wish
// that it stop comes as SIGTERM. error_not_supported where a service is a program like any other.
[[nodiscard]] Error run_service(const char* name, int (*daemon)(), int& result);

}  // namespace ox::platform
