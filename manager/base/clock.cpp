#include "manager/base/clock.h"

#include <asio/steady_timer.hpp>
#include <chrono>
#include <utility>

namespace ox::manager {
namespace {

using std::chrono::milliseconds;

template <class Duration>
std::int64_t count(Duration duration) {
  return std::chrono::duration_cast<milliseconds>(duration).count();
}

class SystemTimer final : public Timer {
 public:
  explicit SystemTimer(asio::io_context& loop) : timer_(loop) {}

  void wait(std::int64_t time, std::function<void()> call) override {
    timer_.expires_after(milliseconds(time));
    timer_.async_wait(
        [this, turn = ++turn_, alive = std::weak_ptr(alive_), call = std::move(call)](const asio::error_code& error) {
          if (!error && !alive.expired() && turn == turn_) call();
        });
  }
  void cancel() override {
    ++turn_;
    timer_.cancel();
  }

 private:
  asio::steady_timer timer_;
  // A wait whose end stands in the loop's queue already does not hear that it was given up.
  std::uint64_t turn_ = 0;
  std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace

std::int64_t SystemClock::wall() const { return count(std::chrono::system_clock::now().time_since_epoch()); }

std::int64_t SystemClock::passed() const { return count(std::chrono::steady_clock::now().time_since_epoch()); }

std::unique_ptr<Timer> SystemClock::timer() { return std::make_unique<SystemTimer>(loop_); }

StepWatch::StepWatch(const Clock& clock) : clock_(clock), difference_(clock.wall() - clock.passed()) {}

std::int64_t StepWatch::look() {
  constexpr std::int64_t led = 1000;
  const std::int64_t before = std::exchange(difference_, clock_.wall() - clock_.passed());
  const std::int64_t step = difference_ - before;
  return step > -led && step < led ? 0 : step;
}

}  // namespace ox::manager
