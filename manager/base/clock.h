// The time: what the wall clock shows, which may be set, and what has passed, which goes on evenly. Work that waits
// takes both from here, so that a test may let a year pass at once.
#pragma once

#include <asio/io_context.hpp>
#include <cstdint>
#include <functional>
#include <memory>

namespace ox::manager {

// One wait at a time; none is left when it goes.
class Timer {
 public:
  Timer() = default;
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;
  virtual ~Timer() = default;

  // Calls once, after so many milliseconds, from the event loop; in place of a wait that is under way.
  virtual void wait(std::int64_t milliseconds, std::function<void()> call) = 0;
  virtual void cancel() = 0;
};

// All in milliseconds.
class Clock {
 public:
  Clock() = default;
  Clock(const Clock&) = delete;
  Clock& operator=(const Clock&) = delete;
  virtual ~Clock() = default;

  [[nodiscard]] virtual std::int64_t wall() const = 0;    // since 1970
  [[nodiscard]] virtual std::int64_t passed() const = 0;  // since some moment, whatever the wall clock does
  [[nodiscard]] virtual std::unique_ptr<Timer> timer() = 0;
  // After so long at the latest who waits for the wall clock looks whether it was set.
  [[nodiscard]] virtual std::int64_t look_every() const { return 1000; }
};

class SystemClock final : public Clock {
 public:
  explicit SystemClock(asio::io_context& loop) : loop_(loop) {}
  [[nodiscard]] std::int64_t wall() const override;
  [[nodiscard]] std::int64_t passed() const override;
  [[nodiscard]] std::unique_ptr<Timer> timer() override;

 private:
  asio::io_context& loop_;
};

// Notices that the wall clock has been set. One that is only led, by less than a second between two looks, has not.
class StepWatch {
 public:
  explicit StepWatch(const Clock& clock);
  // By how many milliseconds it was set forward, or back (negative), since the last look; 0: not at all.
  [[nodiscard]] std::int64_t look();

 private:
  const Clock& clock_;
  std::int64_t difference_;  // of the two clocks
};

}  // namespace ox::manager
