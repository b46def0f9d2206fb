// A program started by a test, ended with it.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace ox::test {

class ChildProcess {
 public:
  ChildProcess() = default;  // none
  // Starts arguments[0], looked for in PATH and the system's sbin folders. Output and errors go to `output_file`.
  // `environment` holds "NAME=value" additions. Throws std::runtime_error when it cannot be started.
  ChildProcess(const std::vector<std::string>& arguments, const std::string& output_file,
               const std::vector<std::string>& environment = {});
  ChildProcess(ChildProcess&& other) noexcept;
  ChildProcess& operator=(ChildProcess&& other) noexcept;
  ~ChildProcess();  // kill()

  [[nodiscard]] int pid() const noexcept { return pid_; }  // 0: none, or ended and waited for
  [[nodiscard]] bool running();

  // Waits for the end; the exit status, 128 + signal for a killed one, -1 when the time is over.
  int wait(std::chrono::milliseconds limit);
  // SIGTERM, and SIGKILL when that does not help within two seconds.
  void terminate();
  // SIGKILL.
  void kill();

 private:
  int pid_ = 0;
  int status_ = -1;
};

}  // namespace ox::test
