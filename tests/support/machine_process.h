// A program of the machine's SNMP tools, the agent say, started by a test and ended with it. A test that runs on an
// emulated Windows has those of the machine that emulates.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "tests/support/child_process.h"

namespace ox::test {

class MachineProcess {
 public:
  MachineProcess() = default;  // none
  // Starts arguments[0], which keeps to the folder for its configuration and data instead of the machine's. Output and
  // errors go to `output_file`. Throws std::runtime_error.
  MachineProcess(const std::vector<std::string>& arguments, const std::string& output_file, const std::string& folder);
  MachineProcess(MachineProcess&&) noexcept = default;
  MachineProcess& operator=(MachineProcess&& other) noexcept {
    std::swap(process_, other.process_);
    std::swap(mark_, other.mark_);
    return *this;
  }
  ~MachineProcess() { kill(); }

  [[nodiscard]] bool running();
  // Waits for the end; the exit status, -1 when the time is over.
  int wait(std::chrono::milliseconds limit);
  void kill();

 private:
  ChildProcess process_;  // on Linux
  std::string mark_;      // on Windows: the file that is there as long as the program runs
};

// A path as such a program needs it.
[[nodiscard]] std::string machine_path(const std::string& path);

}  // namespace ox::test
