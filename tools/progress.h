// Tells on a terminal how far a tool is with what takes longer than a second.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

// While it lives, from its second second on, the last line of the standard error stream, if that is a terminal, tells
// what is being done, for how long, and how much of it; then the line is cleared. A thread of its own paints it, so
// that it goes on while a request waits.
class Progress {
 public:
  explicit Progress(std::string what);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // So much is done, of so much (0: nobody knows).
  void at(std::uint64_t done, std::uint64_t of = 0);

 private:
  using Clock = std::chrono::steady_clock;
  void run();
  [[nodiscard]] std::string line() const;

  const std::string what_;
  const Clock::time_point begin_ = Clock::now();
  std::mutex guard_;  // what follows
  std::condition_variable ended_;
  bool end_ = false;
  std::uint64_t done_ = 0;
  std::uint64_t of_ = 0;
  std::thread painter_;
};

}  // namespace tool
