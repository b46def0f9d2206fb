// A program started by a test, ended with it.
#pragma once

#include <chrono>
#include <cstdint>

#include "tests/support/test.h"

namespace ox::test {

class ChildProcess {
 public:
  ChildProcess() = default;  // none
  // Whether it can be asked to end. On Windows all hear that who can, so a test starts one of them at a time.
  enum class Hears { nothing, end };
  // Starts arguments[0]. Output and errors go to `output_file`. Throws std::runtime_error when it cannot be started.
  ChildProcess(const std::vector<std::string>& arguments, const std::string& output_file, Hears hears = Hears::nothing);
  ChildProcess(ChildProcess&& other) noexcept { *this = std::move(other); }
  ChildProcess& operator=(ChildProcess&& other) noexcept {
    std::swap(process_, other.process_);
    std::swap(status_, other.status_);
    return *this;
  }
  ~ChildProcess() { kill(); }

  [[nodiscard]] int pid() const noexcept;
  [[nodiscard]] bool running() { return wait({}) == -1 && process_ != 0; }

  // Waits for the end; the exit status, 128 + signal for one that was killed on Linux, -1 when the time is over.
  int wait(std::chrono::milliseconds limit);
  // Asks it to end: by SIGTERM, on Windows by Ctrl+C on the console that the test shares with what it starts.
  void ask_to_end();
  // Ends it without asking.
  void kill();

 private:
  std::intptr_t process_ = 0;  // its id or handle; 0: none, or ended and waited for
  int status_ = -1;
};

}  // namespace ox::test
