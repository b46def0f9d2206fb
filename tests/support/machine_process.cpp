#include "tests/support/machine_process.h"

#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/support/system_root.h"

namespace fs = std::filesystem;

namespace ox::test {

MachineProcess::MachineProcess(const std::vector<std::string>& arguments, const std::string& output_file,
                               const std::string& folder) {
  static int count = 0;
  mark_ = system_root() + "/running" + std::to_string(++count);
  write_file(mark_, "");
  std::vector<std::string> command = {"/bin/sh", OX_MACHINE_SCRIPT, machine_path(mark_), machine_path(output_file),
                                      machine_path(folder)};
  command.insert(command.end(), arguments.begin(), arguments.end());
  script_ = started(command, output_file);
}

bool MachineProcess::running() const { return !mark_.empty() && fs::exists(mark_); }

int MachineProcess::wait(std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  int status = -1;
  while (!mark_.empty() && !(std::ifstream(mark_ + ".status") >> status)) {
    if (std::chrono::steady_clock::now() >= end) return -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return status;
}

void MachineProcess::kill() {
  if (!running()) return;
  std::error_code ignored;  // it may be ending just now
  (void)fs::remove(mark_, ignored);
  (void)wait(std::chrono::seconds(10));
}

}  // namespace ox::test
