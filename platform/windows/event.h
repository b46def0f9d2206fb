// The system's event objects.
#pragma once

#include "platform/access.h"
#include "platform/error.h"
#include "platform/windows/handle.h"

namespace ox::platform {

// NamedEvent::create's work.
[[nodiscard]] Error make_event(const char* name, Access access, Handle& event);

}  // namespace ox::platform
