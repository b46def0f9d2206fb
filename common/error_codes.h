// Result codes of platform and runtime errors.
#pragma once

#include <oxbase/oxtypes.h>

#include "platform/error.h"

namespace ox {

// The result code of a platform error number; keeps the number for the thread's error text, and traces one that has no
// code of its own. 0 gives 0.
OX_RESULT code_of_platform_error(platform::Error error) noexcept;

// The same without a trace line, for the trace itself.
OX_RESULT untraced_code_of_platform_error(platform::Error error) noexcept;

// The number kept last by this thread, 0 when there was none.
[[nodiscard]] platform::Error last_kept_platform_error() noexcept;

}  // namespace ox
