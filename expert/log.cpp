#include "expert/log.h"

#include <cstdint>
#include <cstdio>

#include <oxbase/oxc.h>

#include "common/terminal_text.h"

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
  if (!to_stderr)
    return (void)oxcSystemLog("oxexpd", static_cast<std::uint32_t>(severity), ox::system_text(text).c_str());
  ox::print(stderr, std::string("oxexpd: ") + word(severity) + text + '\n');
}

}  // namespace expert
