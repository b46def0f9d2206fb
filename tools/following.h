// A session for tools that go on until they are ended: it outlives the manager.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "tools/library.h"

namespace tool {

class Command;
class Option;

class Following {
 public:
  // Opens the session. `timeout` in seconds, 0 for none. Without `reconnect` the manager's end is a failure.
  Following(const Command& app, bool reconnect, uint32_t timeout);

  // Runs what has come, and waits for it before. When the manager goes, says so and waits for the next one, in which
  // open requests and waits go on. False when the time is over. Throws when it is over without a manager.
  [[nodiscard]] bool turn();

 private:
  using Clock = std::chrono::steady_clock;
  [[nodiscard]] uint32_t milliseconds_left() const;
  void come_back() const;

  std::string tool_;
  bool reconnect_;
  std::optional<Clock::time_point> end_;
};

// The option --no-reconnect.
Option add_no_reconnect(Command& command, bool& no_reconnect);

}  // namespace tool
