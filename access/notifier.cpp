#include "access/notifier.h"

#include <semaphore>
#include <utility>

#include "platform/environment.h"

namespace ox {
namespace {

constexpr std::uint32_t full_queue_pause_ms = 1000;

void run(platform::NamedEvent& event, const platform::ReportWindow::Poster& window) noexcept {
  while (event.wait(platform::infinite) == platform::error_none) {
    if (!window.alive()) return;
    event.reset();
    // Any other failure means that the window is going: the next round sees it.
    while (window.post(window_fetch_reports) == platform::error_quota) platform::sleep_ms(full_queue_pause_ms);
  }
}

}  // namespace

void Notifier::start(platform::NamedEvent event, platform::ReportWindow::Poster window) {
  event_ = std::make_unique<platform::NamedEvent>(std::move(event));
  std::binary_semaphore ready(0);
  thread_ = std::thread([&ready, &event = *event_, window = std::move(window)] {
    ready.release();
    run(event, window);
  });
  ready.acquire();
}

void Notifier::stop() noexcept {
  if (!thread_.joinable()) return;
  event_->set();
  thread_.join();
  event_.reset();
}

}  // namespace ox
