// A program started by a test, ended with it.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace ox::test {

class ChildProcess {
 public:
  ChildProcess() = default;  // none
  // Starts arguments[0], on Linux looked for in the system's folders too. Output and errors go to `output_file`.
  // `environment` holds "NAME=value" additions. Throws std::runtime_error when it cannot be started.
  ChildProcess(const std::vector<std::string>& arguments, const std::string& output_file,
               const std::vector<std::string>& environment = {});
  ChildProcess(ChildProcess&& other) noexcept;
  ChildProcess& operator=(ChildProcess&& other) noexcept;
  ~ChildProcess();  // kill()

  [[nodiscard]] int pid() const noexcept { return pid_; }  // 0: none, or ended and waited for
  [[nodiscard]] bool running();

  // Waits for the end; the exit status, 128 + signal for one that was killed on Linux, -1 when the time is over.
  int wait(std::chrono::milliseconds limit);
  // Asks it to end: by SIGTERM, on Windows by Ctrl+C on the console that the test shares with what it starts.
  void ask_to_end();
  // Ends it without asking.
  void kill();

 private:
  int pid_ = 0;
  int status_ = -1;
};

}  // namespace ox::test
