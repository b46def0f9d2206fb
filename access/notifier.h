// The thread that turns the session's notification event into a message for the report window.
#pragma once

#include <cstdint>
#include <memory>
#include <thread>

#include "platform/named_event.h"
#include "platform/report_window.h"

namespace ox {

// Messages of the report window.
inline constexpr std::uint32_t window_fetch_reports = 400;
inline constexpr std::uint32_t window_connection_lost = 401;

class Notifier {
 public:
  // Takes over the event. Returns when the thread waits for it. Throws std::system_error, std::bad_alloc.
  void start(platform::NamedEvent event, platform::ReportWindow::Poster window);

  // Ends the thread. The window must be gone: a notifier lives exactly as long as its window.
  void stop() noexcept;

 private:
  std::unique_ptr<platform::NamedEvent> event_;
  std::thread thread_;
};

}  // namespace ox
