#include "expert/log.h"

#include <cstdint>
#include <cstdio>

#include <oxbase/oxc.h>

namespace expert {
namespace {

bool to_stderr = false;

const char* word(Severity severity) {
  if (severity == Severity::error) return "error: ";
  return severity == Severity::warning ? "warning: " : "";
}

}  // namespace

void log_to_stderr() { to_stderr = true; }

void log(Severity severity, const std::string& text) {
  if (!to_stderr) return (void)oxcSystemLog("oxexpd", static_cast<std::uint32_t>(severity), text.c_str());
  (void)std::fprintf(stderr, "oxexpd: %s%s\n", word(severity), text.c_str());
  (void)std::fflush(stderr);
}

}  // namespace expert
