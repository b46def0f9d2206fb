#include "platform/report_window.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "platform/environment.h"
#include "platform/fork.h"
#include "platform/linux/fail.h"
#include "platform/linux/own_descriptor.h"
#include "platform/named_event.h"

namespace ox::platform {
namespace {

constexpr std::size_t queue_limit = 10'000;  // messages of one window

// Unique among the living processes of the machine: process ids have at most 22 bits.
std::uint32_t next_handle() noexcept {
  static std::atomic<std::uint32_t> count{0};
  return (process_id() << 10) | (++count & 0x3FF);
}

}  // namespace

struct ReportWindow::Poster::Shared {
  // Of all windows: in a child forked from inside a handler, the dispatch goes on to its end.
  static inline constinit std::mutex guard;
  static inline const bool free_in_child = free_in_forked_child(guard);

  explicit Shared(int fd) noexcept : event(fd) {}

  std::deque<std::uint32_t> queue;  // guarded
  bool alive = true;                // guarded
  OwnDescriptor event;              // readable while the queue holds something
  Handler handler = nullptr;
  std::uint32_t handle = next_handle();
  std::thread::id owner = std::this_thread::get_id();

  [[nodiscard]] std::size_t waiting() noexcept {
    const std::lock_guard lock(guard);
    return alive ? queue.size() : 0;
  }

  [[nodiscard]] std::optional<std::uint32_t> take() noexcept {
    const std::lock_guard lock(guard);
    if (!alive || queue.empty()) return std::nullopt;
    const std::uint32_t message = queue.front();
    queue.pop_front();
    if (queue.empty()) calm();
    return message;
  }

  void withdraw(std::uint32_t message) noexcept {
    const std::lock_guard lock(guard);
    if (std::erase(queue, message) != 0 && queue.empty()) calm();
  }

  // The queue is empty.
  void calm() const noexcept {
    std::uint64_t count = 0;
    (void)!::read(event.get(), &count, sizeof count);
  }

  void wait(std::uint32_t milliseconds) noexcept {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
    pollfd readable{event.get(), POLLIN, 0};
    for (;;) {
      int left = -1;
      if (milliseconds != infinite) {
        const auto rest = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        left = rest > 0 ? static_cast<int>(std::min<long long>(rest, INT_MAX)) : 0;
      }
      const int result = ::poll(&readable, 1, left);
      if (result > 0 || (result == 0 && (left == 0 || Clock::now() >= end))) return;
      if (result < 0 && errno != EINTR) return;
    }
  }
};

ReportWindow::ReportWindow() = default;
ReportWindow::ReportWindow(ReportWindow&&) noexcept = default;
ReportWindow& ReportWindow::operator=(ReportWindow&& other) noexcept {
  std::swap(shared_, other.shared_);
  return *this;
}
ReportWindow::~ReportWindow() {
  if (shared_ == nullptr) return;
  const std::lock_guard lock(shared_->guard);
  shared_->alive = false;
  shared_->queue.clear();
}

Error ReportWindow::create(Handler handler) {
  if (handler == nullptr) return fail(error_invalid_parameter);
  ReportWindow made;
  made.shared_ = std::make_shared<Poster::Shared>(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!made.shared_->event) return fail_errno();
  made.shared_->handler = handler;
  *this = std::move(made);
  return error_none;
}

std::uint32_t ReportWindow::handle() const noexcept { return shared_ != nullptr ? shared_->handle : 0; }

ReportWindow::Poster ReportWindow::poster() const {
  Poster poster;
  poster.shared_ = shared_;
  return poster;
}

std::intptr_t ReportWindow::descriptor() const noexcept { return shared_ != nullptr ? shared_->event.get() : -1; }

void ReportWindow::withdraw(std::uint32_t message) const {
  if (shared_ != nullptr) shared_->withdraw(message);
}

void ReportWindow::dispatch(std::uint32_t milliseconds) {
  // Its own reference: a handler may destroy the window.
  const std::shared_ptr<Poster::Shared> shared = shared_;
  if (shared == nullptr || shared->owner != std::this_thread::get_id()) return;
  if (shared->waiting() == 0 && milliseconds != 0) shared->wait(milliseconds);
  // No more than is there now, so that a handler that posts again does not hold the caller for ever.
  for (std::size_t left = shared->waiting(); left != 0; --left) {
    const std::optional<std::uint32_t> message = shared->take();
    if (!message) return;
    shared->handler(*message);
  }
}

ReportWindow::Poster::Poster() = default;
ReportWindow::Poster::Poster(const Poster&) = default;
ReportWindow::Poster& ReportWindow::Poster::operator=(const Poster&) = default;
ReportWindow::Poster::~Poster() = default;

Error ReportWindow::Poster::post(std::uint32_t message) const noexcept {
  if (shared_ == nullptr) return fail(error_invalid_handle);
  const std::lock_guard lock(shared_->guard);
  if (!shared_->alive) return fail(error_invalid_handle);
  if (shared_->queue.size() >= queue_limit) return fail(error_quota);
  try {
    shared_->queue.push_back(message);
  } catch (const std::bad_alloc&) {
    return fail(error_quota);
  }
  const std::uint64_t one = 1;
  if (shared_->queue.size() == 1) (void)!::write(shared_->event.get(), &one, sizeof one);
  return error_none;
}

bool ReportWindow::Poster::alive() const noexcept {
  if (shared_ == nullptr) return false;
  const std::lock_guard lock(shared_->guard);
  return shared_->alive;
}

}  // namespace ox::platform
