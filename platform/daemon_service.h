// What a daemon tells the service manager that has started it: systemd on Linux; on Windows nobody asks.
#pragma once

#include <chrono>

namespace ox::platform {

// It is told where a service manager has started this process and asked for it; else nothing happens.
enum class DaemonState { ready, alive, stopping };
void tell_state(DaemonState state) noexcept;

// How often the service manager wants to hear that the daemon is alive; 0: not at all.
[[nodiscard]] std::chrono::milliseconds alive_interval() noexcept;

}  // namespace ox::platform
