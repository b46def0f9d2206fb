// The emulator starts programs of the machine and then knows nothing of them: a script ends the program when its mark
// is removed, and removes the mark when the program ends by itself.
#include "tests/support/machine_process.h"

#include <windows.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "tests/support/system_root.h"
#include "tests/support/windows/command_line.h"

namespace fs = std::filesystem;

namespace ox::test {

MachineProcess::MachineProcess(const std::vector<std::string>& arguments, const std::string& output_file,
                               const std::string& folder) {
  static int count = 0;
  mark_ = system_root() + "/running" + std::to_string(++count);
  write_file(mark_, "");
  std::string line = command_line({"Z:\\bin\\sh", OX_MACHINE_SCRIPT, machine_path(mark_), machine_path(output_file),
                                   machine_path(folder)}) +
                     " " + command_line(arguments);
  STARTUPINFOA how{};
  how.cb = sizeof how;
  PROCESS_INFORMATION made{};
  if (::CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &how, &made) == FALSE) {
    throw std::runtime_error(line + ": error " + std::to_string(::GetLastError()));
  }
}

bool MachineProcess::running() { return !mark_.empty() && fs::exists(mark_); }

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

std::string machine_path(const std::string& path) {
  using Convert = char*(CDECL*)(const wchar_t*);
  const auto convert = reinterpret_cast<Convert>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleA("kernel32"), "wine_get_unix_file_name")));
  if (convert == nullptr) throw std::runtime_error("not under Wine: the machine has no SNMP tools");
  char* const found = convert(fs::absolute(path).wstring().c_str());
  std::string result = found != nullptr ? found : "";
  (void)::HeapFree(::GetProcessHeap(), 0, found);
  return result;
}

}  // namespace ox::test
