// Time that passes when a test says so.
#pragma once

#include <algorithm>
#include <vector>

#include "manager/base/clock.h"

namespace ox::manager {

class VirtualClock final : public Clock {
 public:
  explicit VirtualClock(std::int64_t seconds, std::int64_t look_every = 1000)
      : wall_(seconds * 1000), look_every_(look_every) {}
  [[nodiscard]] std::int64_t wall() const override { return wall_; }
  [[nodiscard]] std::int64_t passed() const override { return passed_; }
  [[nodiscard]] std::int64_t look_every() const override { return look_every_; }
  [[nodiscard]] std::unique_ptr<Timer> timer() override { return std::make_unique<VirtualTimer>(*this); }

  // Lets time pass, with all waits that end in it.
  void pass(std::int64_t milliseconds) {
    const std::int64_t end = passed_ + milliseconds;
    for (;;) {
      const auto first = std::min_element(timers_.begin(), timers_.end(),
                                          [](const auto* a, const auto* b) { return a->until < b->until; });
      if (first == timers_.end() || (*first)->until > end) break;
      go_to((*first)->until);
      VirtualTimer& timer = **first;
      timers_.erase(first);
      ++calls_;
      std::exchange(timer.call, nullptr)();
    }
    go_to(end);
  }
  void pass_until(std::int64_t second) { pass(second * 1000 - wall_); }
  [[nodiscard]] int calls() const { return calls_; }  // of timers, so far
  void set(std::int64_t by_seconds) { wall_ += by_seconds * 1000; }

 private:
  struct VirtualTimer final : Timer {
    explicit VirtualTimer(VirtualClock& of) : clock(of) {}
    ~VirtualTimer() override { VirtualTimer::cancel(); }
    void wait(std::int64_t milliseconds, std::function<void()> then) override {
      cancel();
      until = clock.passed_ + milliseconds;
      call = std::move(then);
      clock.timers_.push_back(this);
    }
    void cancel() override { std::erase(clock.timers_, this); }
    VirtualClock& clock;
    std::int64_t until = 0;
    std::function<void()> call{};
  };

  void go_to(std::int64_t passed) {
    wall_ += std::max<std::int64_t>(passed - passed_, 0);
    passed_ = std::max(passed, passed_);
  }

  std::int64_t wall_;
  std::int64_t passed_ = 1;
  std::int64_t look_every_;
  int calls_ = 0;
  std::vector<VirtualTimer*> timers_;
};

}  // namespace ox::manager
