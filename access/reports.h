// Reports: what the manager announces and the session fetches. Each kind has a handler; the floors that know a kind
// register theirs before the session opens.
//
// One loop fetches until nothing waits; a callback that dispatches runs another inside it. The manager announces
// nothing before it has been told so, and a loop may end earlier, when its time is over, with a report that has come
// and is kept for the next loop. Whenever there is something to go on with and no announcement to expect, the window
// has the number window_go_on. docs/protocol.md has the states.
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

// Fetches reports until there are none, until the turn's time is over, or until one that was postponed comes again: it
// can only be handled further out, by the loop in whose callback this one runs. A failure ends the connection.
void fetch_reports();
// The same for the number window_go_on, which nobody may need any more.
void go_on_fetching();

// The connection is lost. What has been fetched is handed out, save application data: those come again.
void finish_reports();
// A request or wait is closed: what has been fetched for it and not handed out is dropped; application data are
// refused, so that they come again when their receiver does.
void drop_reports(std::uint32_t command, std::uint32_t receiver) noexcept;
// Drops everything, with nobody told.
void forget_reports() noexcept;

// The handlers of asynchronous requests' reports, and of application data for no persistent wait.
NextFetch on_get_report(MessagePtr report);
NextFetch on_set_report(MessagePtr report);
NextFetch on_application_data(MessagePtr report);

}  // namespace ox
