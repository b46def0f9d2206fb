// Long work in steps, beside which the event loop serves everybody.
#pragma once

#include <algorithm>
#include <chrono>

namespace ox::manager {

// How long each step works, so that with all that comes behind it, its commit above all, it takes no longer than 5 ms:
// the steps before it tell.
class Pace {
 public:
  using Clock = std::chrono::steady_clock;

  // From here to its end.
  class Step {
   public:
    explicit Step(Pace& pace) : pace_(pace), begin_(Clock::now()) {}
    Step(const Step&) = delete;
    Step& operator=(const Step&) = delete;
    ~Step() { pace_.took(Clock::now() - begin_); }

    [[nodiscard]] Clock::time_point until() const { return begin_ + pace_.work_; }

   private:
    Pace& pace_;
    Clock::time_point begin_;
  };

 private:
  static constexpr Clock::duration limit = std::chrono::milliseconds(5);
  static constexpr Clock::duration least = std::chrono::microseconds(200);

  void took(Clock::duration whole) {
    const auto next = whole > limit ? work_ / 2 : work_ + work_ / 8;
    work_ = std::clamp(next, least, limit);
  }

  Clock::duration work_ = std::chrono::milliseconds(1);
};

}  // namespace ox::manager
