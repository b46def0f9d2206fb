// How the calls of this folder report a failure: the number is returned and kept as the thread's last error.
#pragma once

#include <cerrno>

#include "platform/error.h"

namespace ox::platform {

[[nodiscard]] inline Error fail(Error error) noexcept {
  set_last_error(error);
  return error;
}

[[nodiscard]] inline Error fail_errno(int value = errno) noexcept { return fail(error_of_errno(value)); }

}  // namespace ox::platform
