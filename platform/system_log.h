// The system event log (syslog on Linux), and the message box.
#pragma once

#include <cstdint>
#include <string>

#include "platform/error.h"

namespace ox::platform {

// type: 1 error, 2 warning, 4 information.
[[nodiscard]] Error system_log(const char* source, std::uint32_t type, const char* text) noexcept;

// Where a person reads what this program writes to it.
[[nodiscard]] std::string system_log_place();

// Whether the process runs as a service, without a user to show something to.
[[nodiscard]] bool is_service_process() noexcept;

// Shows a text and waits for the user; on Linux it goes to the standard error stream.
void message_box(const char* title, const char* text) noexcept;

}  // namespace ox::platform
