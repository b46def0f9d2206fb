// The daemon's log: the standard error stream in the foreground, else the system event log.
#pragma once

#include <string>

namespace ox::manager {

enum class Severity { error = 1, warning = 2, information = 4 };

void log_to_stderr();
void log(Severity severity, const char* text);  // takes no memory
inline void log(Severity severity, const std::string& text) { log(severity, text.c_str()); }

}  // namespace ox::manager
