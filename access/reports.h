// Reports: what the manager announces and the session fetches. Each kind has a handler; the floors that know a kind
// register theirs before the session opens.
#pragma once

#include <cstdint>

#include "access/message.h"

namespace ox {

// What the next fetch says: an ordinary one, or the answer to application data.
struct NextFetch {
  std::uint32_t type = type_fetch;
  std::uint32_t reference = no_report;
  bool postponed = false;  // the report could not be handled now and will come again
};

// Owns the report. May send requests, and may pump the window.
using ReportHandler = NextFetch (*)(MessagePtr report);

// Sets the handler of the reports of a command (below 32); null releases them unread. Those of asynchronous requests
// and of application data have one from the start.
void set_report_handler(std::uint32_t command, ReportHandler handler) noexcept;

// Fetches reports until there are none, or until one that was postponed comes again: it can only be handled further
// out, by the loop in whose callback this one runs. A failure ends the connection.
void fetch_reports();

// The handlers of asynchronous requests' reports, and of application data for no persistent wait.
NextFetch on_get_report(MessagePtr report);
NextFetch on_set_report(MessagePtr report);
NextFetch on_application_data(MessagePtr report);

}  // namespace ox
