// Exported functions that return a pointer.
#pragma once

#include "common/trace.h"

namespace ox {

// Runs the body, which throws nothing, and writes the exit line with the address.
template <class Body>
[[nodiscard]] auto traced_pointer(const char* name, Body&& body) noexcept {
  const auto result = body();
  OX_TRACE(trace::general, "<E:%s:[%x]>\n", name, trace::word(result));
  return result;
}

}  // namespace ox
