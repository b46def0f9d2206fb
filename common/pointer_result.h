// Exported functions that return a pointer, or a number that is no result code.
#pragma once

#include <cstdint>
#include <type_traits>

#include "common/trace.h"

namespace ox {

// Runs the body, which throws nothing, and writes the exit line with the address.
template <class Body>
[[nodiscard]] auto traced_pointer(const char* name, Body&& body) noexcept {
  const auto result = body();
  OX_TRACE(trace::general, "<E:%s:[%x]>\n", name, trace::word(result));
  return result;
}

// The exit line of a number that no failure can change.
inline std::int32_t traced_number(const char* name, std::int32_t result) noexcept {
  OX_TRACE(trace::general, "<E:%s:[%d]>\n", name, static_cast<int>(result));
  return result;
}

// A plain accessor, with both its lines: what `read` finds in the record, and zero without one.
template <class Record, class Read>
[[nodiscard]] auto traced_read(const char* name, const Record* record, Read read) noexcept {
  OX_TRACE(trace::general, "<S:%s:%x>\n", name, trace::word(record));
  const std::decay_t<decltype(read(*record))> result = record != nullptr ? read(*record) : decltype(read(*record)){};
  if constexpr (std::is_pointer_v<decltype(result)>) {
    OX_TRACE(trace::general, "<E:%s:[%x]>\n", name, trace::word(result));
  } else {
    OX_TRACE(trace::general, "<E:%s:[%u]>\n", name, static_cast<unsigned>(result));
  }
  return result;
}

}  // namespace ox
