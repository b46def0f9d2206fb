// The real programs in the test's system root.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/support/child_process.h"

namespace ox::test {

class Daemon {
 public:
  // Makes the installation, starts the daemon and returns when it serves. Throws std::runtime_error.
  Daemon();

  void start();
  void kill() { process_.kill(); }
  // Asks it to end; the exit status.
  int end();
  [[nodiscard]] int pid() const { return process_.pid(); }
  // What it has logged since its last start.
  [[nodiscard]] std::string log() const;

 private:
  std::string log_file_;
  ChildProcess process_;
};

// Runs one of the programs to its end: its exit status, a blank, and all that it has printed.
[[nodiscard]] std::string run_program(std::vector<std::string> arguments);

// What this process and that one hold of the system: files, handles, shared objects of this system root.
[[nodiscard]] std::vector<std::ptrdiff_t> held_by_this_and(int pid);

}  // namespace ox::test
