// A program of the machine's SNMP tools, the agent say, started by a test and ended with it. A test that runs on an
// emulated Windows has those of the machine that emulates. The emulator starts them and then knows nothing of them: a
// script ends the program when its mark is removed, and removes the mark when the program ends by itself.
#pragma once

#include "tests/support/program.h"

namespace ox::test {

class MachineProcess {
 public:
  MachineProcess() = default;  // none
  // Starts arguments[0], which keeps to the folder for its configuration and data instead of the machine's. Output and
  // errors go to `output_file`. Throws std::runtime_error.
  MachineProcess(const std::vector<std::string>& arguments, const std::string& output_file, const std::string& folder);
  MachineProcess& operator=(MachineProcess&& other) noexcept {
    std::swap(script_, other.script_);
    std::swap(mark_, other.mark_);
    return *this;
  }
  ~MachineProcess() { kill(); }

  [[nodiscard]] bool running() const;
  // Waits for the end; the exit status, -1 when the time is over.
  int wait(std::chrono::milliseconds limit);
  void kill();

 private:
  Program script_;
  std::string mark_;  // the file that is there as long as the program runs
};

}  // namespace ox::test
