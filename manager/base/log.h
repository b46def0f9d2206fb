// The daemon's log: the standard error stream in the foreground, else the system event log; while the daemon starts,
// what goes wrong is shown to who starts it, too.
#pragma once

#include <string>

namespace ox::manager {

enum class Severity { error = 1, warning = 2, information = 4 };

void log_to_stderr();
void log_of_start();  // errors and warnings to the standard error stream, too
void log_of_run();    // the start is over; who watched it is told where the log is
// Takes no memory. A line that comes again and again is counted.
void log(Severity severity, const char* text);
inline void log(Severity severity, const std::string& text) { log(severity, text.c_str()); }

}  // namespace ox::manager
