// The time of an oxaDispatch.
#pragma once

#include <chrono>
#include <cstdint>

namespace ox {

// What one oxaDispatch may run: no report after its time, but for the first. Of the turns that run inside each other
// the innermost counts, and none for what a callback runs by a loop of its own.
class Turn {
 public:
  explicit Turn(std::uint32_t timeout_ms) noexcept;
  ~Turn();
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  // How long it may still wait, in milliseconds.
  [[nodiscard]] std::uint32_t left() const noexcept;
  // There was nothing to go on with, and there is time to wait for something else. Says so once.
  [[nodiscard]] bool in_vain() noexcept;

  // The turn that runs, which the caller ends where it counts no more. Null for none.
  [[nodiscard]] static Turn* current(Turn* instead) noexcept;
  // Whether another report may be begun, and that one is.
  [[nodiscard]] bool may_begin() const noexcept { return endless_ || !begun_ || Clock::now() < last_begin_; }
  void begin() noexcept { begun_ = true; }
  void found_nothing() noexcept { in_vain_ = true; }

 private:
  using Clock = std::chrono::steady_clock;

  bool endless_;
  Clock::time_point end_;
  Clock::time_point last_begin_;
  bool begun_ = false;
  bool in_vain_ = false;
  Turn* outer_;
};

}  // namespace ox
