// The process's console: allocated when it has none, written to, released.
#pragma once

#include <string_view>

#include "platform/error.h"

namespace ox::platform {

enum class ConsoleEvent { interrupt, other };
// Returns true when the event is handled, so that it does not end the process.
using ConsoleHandler = bool (*)(ConsoleEvent event);

// Makes sure that the process has a console to write to. A second call does nothing.
[[nodiscard]] Error console_allocate() noexcept;
// Installs the handler of console events (Ctrl+C and the like). It may run on a thread of its own.
[[nodiscard]] Error console_set_handler(ConsoleHandler handler) noexcept;
[[nodiscard]] Error console_write(std::string_view text) noexcept;
void console_release() noexcept;  // removes the handler too

}  // namespace ox::platform
