// A session for tools that go on until they are ended: it outlives the manager.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "tools/library.h"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tool {

class Following {
 public:
  // Opens the session. `timeout` in seconds, 0 for none. Without `reconnect` the manager's end is a failure.
  Following(const CLI::App& app, bool reconnect, uint32_t timeout);

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
CLI::Option* add_no_reconnect(CLI::App& command, bool& no_reconnect);

}  // namespace tool
