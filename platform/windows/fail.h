// How the calls of this folder report a failure: the number is returned and kept as the thread's last error.
#pragma once

#include <windows.h>

#include "platform/error.h"

namespace ox::platform {

[[nodiscard]] inline Error fail(Error error) noexcept {
  set_last_error(error);
  return error;
}

// What the system's last call left. Some calls fail without a number; that must not look like success.
[[nodiscard]] inline Error fail_last() noexcept {
  const Error error = ::GetLastError();
  return fail(error != error_none ? error : error_open_failed);
}

}  // namespace ox::platform
