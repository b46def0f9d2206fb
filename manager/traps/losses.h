// Telling what was lost: the first loss soon, those that follow together.
#pragma once

#include <asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <string>

#include "manager/base/settings.h"
#include "manager/events/log.h"
#include "manager/traps/books.h"

namespace ox::manager {

class TrapLosses {
 public:
  // Looks at the books. `woken` is called each time before something is told.
  TrapLosses(asio::io_context& loop, const Settings& settings, EventLog& events, const TrapBooks& books,
             std::function<void()> woken)
      : settings_(settings), events_(events), books_(books), woken_(std::move(woken)), timer_(loop) {}

  void malformed(std::string from) { malformed_from_ = std::move(from); }
  void idle_action(std::string why) { action_fault_ = std::move(why); }

  // When there is anything that has not been told.
  void tell_later();
  void tell();
  // What the log does not take any more is not tried again.
  void end() { ended_ = true; }

 private:
  const Settings& settings_;
  EventLog& events_;
  const TrapBooks& books_;
  std::function<void()> woken_;
  asio::steady_timer timer_;
  bool due_ = false;
  bool ended_ = false;
  std::chrono::steady_clock::time_point last_{};
  TrapBooks told_;  // up to here
  std::string malformed_from_;
  std::string action_fault_;
};

}  // namespace ox::manager
