// Calls of an application's callbacks.
#pragma once

#include <exception>

#include <oxbase/oxtypes.h>

namespace ox {

// Writes to the system's log that an exception has left a callback; null: one of an unknown kind.
void log_exception(const char* whose, const std::exception* exception) noexcept;

// Runs an application's callback. An exception that it lets through costs this call alone: it is logged, and the result
// is one that refuses.
template <class Callback>
OX_RESULT run_callback(const char* whose, Callback&& callback) noexcept {
  try {
    return callback();
  } catch (const std::exception& exception) {
    log_exception(whose, &exception);
  } catch (...) {
    log_exception(whose, nullptr);
  }
  return OX_EPLATFORM;
}

}  // namespace ox
