#include "manager/base/log.h"

#include <cstdint>
#include <cstdio>

#include "platform/system_log.h"

namespace ox::manager {
namespace {

bool foreground = false;

const char* word(Severity severity) {
  if (severity == Severity::error) return "error: ";
  return severity == Severity::warning ? "warning: " : "";
}

}  // namespace

void log_to_stderr() { foreground = true; }

void log(Severity severity, const char* text) {
  if (foreground) {
    std::fprintf(stderr, "oxmgrd: %s%s\n", word(severity), text);
    std::fflush(stderr);
    return;
  }
  (void)platform::system_log("TesBaseService", static_cast<std::uint32_t>(severity), text);
}

}  // namespace ox::manager
