// Reports: what the manager announces and the session fetches. Each kind has a handler; the floors that know a kind
// register theirs before the session opens.
#pragma once

#include <cstdint>

#include "access/message.h"

namespace ox {

// What the next fetch says: an ordinary one, or the answer to application data.
struct NextFetch {
  std::uint32_t type = type_fetch;
  std::uint32_t reference = 0xFFFFFFFF;
};

// Owns the report. May send requests, and may pump the window.
using ReportHandler = NextFetch (*)(MessagePtr report);

// Sets the handler of the reports of a command (below 32); null releases them unread.
void set_report_handler(std::uint32_t command, ReportHandler handler) noexcept;

// Fetches reports until there are none. A failure ends the connection.
void fetch_reports();

}  // namespace ox
