#include "access/callback.h"

#include <cstdio>

#include <oxbase/oxc.h>

namespace ox {

void log_exception(const char* whose, const std::exception* exception) noexcept {
  char text[256];
  (void)std::snprintf(text, sizeof text,
                      "an exception has left the callback of %s, which has to catch it: %s; what it was called for "
                      "counts as refused",
                      whose, exception != nullptr ? exception->what() : "of an unknown kind");
  (void)oxcSystemLog("oxbase", 1, text);
}

}  // namespace ox
