// Opening a file that another process may hold for a moment.
#pragma once

#include "common/trace.h"

namespace ox {

inline constexpr int open_attempts = 5;
inline constexpr std::uint32_t open_pause_ms = 1000;

// Tries `open` until it gives what `succeeded` accepts, with a pause and a trace line before each further attempt.
// Every failure is tried again, a missing file too: a writer may be about to put it in place.
template <class Open, class Succeeded, class Pause>
[[nodiscard]] auto open_with_retry(const char* name, Open open, Succeeded succeeded, Pause pause) {
  auto file = open();
  for (int retries = 1; retries < open_attempts && !succeeded(file); ++retries) {
    OX_TRACE(trace::general, "<X:%s(cnt = %d)>\n", name, retries);
    pause(open_pause_ms);
    file = open();
  }
  return file;
}

}  // namespace ox
