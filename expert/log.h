// The expert daemon's log: the system event log, in the foreground the standard error stream.
#pragma once

#include <string>

namespace expert {

enum class Severity { error = 1, warning = 2, information = 4 };

void log_to_stderr();
void log(Severity severity, const std::string& text);

}  // namespace expert
