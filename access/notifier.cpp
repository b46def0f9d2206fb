#include "access/notifier.h"

#include <future>
#include <utility>

namespace ox {
namespace {

using platform::Notification;

constexpr std::uint32_t full_queue_pause_ms = 1000;

void run(Notification& signs, const platform::Pipe& pipe, const platform::ReportWindow::Poster& window) noexcept {
  for (Notification::Sign sign{}; sign != Notification::Sign::closed;) {
    sign = signs.wait(pipe);
    if (sign == Notification::Sign::woken) return;
    const bool closed = sign == Notification::Sign::closed;
    // Any other failure means that the window is going, and this thread with it.
    while (window.post(closed ? window_connection_lost : window_fetch_reports) == platform::error_quota) {
      if (!signs.pause(full_queue_pause_ms)) return;
    }
  }
}

}  // namespace

void Notifier::start(Notification signs, const platform::Pipe& pipe, platform::ReportWindow::Poster window) {
  signs_ = std::make_unique<Notification>(std::move(signs));
  // No semaphore: where it has no call of the system, its waiter can miss the release.
  const auto ready = std::make_shared<std::promise<void>>();
  const std::future<void> started = ready->get_future();
  thread_ = platform::Thread([ready, &signs = *signs_, &pipe, window = std::move(window)] {
    ready->set_value();
    run(signs, pipe, window);
  });
  started.wait();
}

void Notifier::stop() noexcept {
  if (!thread_.joinable()) return;
  signs_->wake();
  thread_.join();
  signs_.reset();
}

}  // namespace ox
