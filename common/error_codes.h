// Result codes of platform and runtime errors.
#pragma once

#include <oxbase/oxtypes.h>

#include "platform/error.h"

namespace ox {

// The result code of a platform error number; keeps the number for the thread's error text. 0 gives 0.
OX_RESULT code_of_platform_error(platform::Error error) noexcept;

}  // namespace ox
