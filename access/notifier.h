// The thread that turns the manager's announcements and the end of its connection into messages for the report window.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/notification.h"
#include "platform/report_window.h"
#include "platform/thread.h"

namespace ox {

// Messages of the report window.
inline constexpr std::uint32_t window_fetch_reports = 400;
inline constexpr std::uint32_t window_connection_lost = 401;
inline constexpr std::uint32_t window_notices = 402;  // of our own: see access/standing.h
inline constexpr std::uint32_t window_go_on = 403;    // likewise: see access/reports.h

class Notifier {
 public:
  // Takes over the notification. Returns when the thread waits for it. The pipe must stay as it is until stop().
  // Throws std::system_error, std::bad_alloc.
  void start(platform::Notification signs, const platform::Pipe& pipe, platform::ReportWindow::Poster window);

  void stop() noexcept;

 private:
  std::unique_ptr<platform::Notification> signs_;
  platform::Thread thread_;
};

}  // namespace ox
