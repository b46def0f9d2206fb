#include "access/notifier.h"

#include <future>
#include <utility>

#include "platform/environment.h"

namespace ox {
namespace {

constexpr std::uint32_t full_queue_pause_ms = 1000;

void run(platform::NamedEvent& event, const platform::ReportWindow::Poster& window) noexcept {
  while (event.wait(platform::infinite) == platform::error_none) {
    event.reset();  // before the window is looked at: stop() sets the event when the window is gone
    if (!window.alive()) return;
    // Any other failure means that the window is going: the next round sees it.
    while (window.post(window_fetch_reports) == platform::error_quota) platform::sleep_ms(full_queue_pause_ms);
  }
}

}  // namespace

void Notifier::start(platform::NamedEvent event, platform::ReportWindow::Poster window) {
  event_ = std::make_unique<platform::NamedEvent>(std::move(event));
  std::promise<void> ready;  // no semaphore: where it has no call of the system, its waiter can miss the release
  const std::future<void> started = ready.get_future();
  thread_ = std::thread([ready = std::move(ready), &event = *event_, window = std::move(window)]() mutable {
    ready.set_value();
    run(event, window);
  });
  started.wait();
}

void Notifier::stop() noexcept {
  if (!thread_.joinable()) return;
  event_->set();
  thread_.join();
  event_.reset();
}

}  // namespace ox
