// The agent is a program of the machine under the emulator, which starts it and then knows nothing of it: a script ends
// it when the file "running" is removed, and removes that file when the agent ends by itself.
#include "tests/support/agent_process.h"

#include <windows.h>

#include <filesystem>
#include <stdexcept>
#include <thread>

#include "tests/support/system_root.h"

namespace fs = std::filesystem;

namespace ox::test {
namespace {

std::string machine_path(const std::string& path) {
  using Convert = char*(CDECL*)(const wchar_t*);
  const auto convert = reinterpret_cast<Convert>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleA("kernel32"), "wine_get_unix_file_name")));
  if (convert == nullptr) throw std::runtime_error("not under Wine: there is no agent");
  char* const found = convert(fs::absolute(path).wstring().c_str());
  std::string result = found != nullptr ? found : "";
  (void)::HeapFree(::GetProcessHeap(), 0, found);
  return result;
}

}  // namespace

AgentProcess::AgentProcess(const std::string& folder, const std::string& address) : folder_(folder) {
  write_file(folder_ + "/running", "");
  const std::string command = "Z:\\bin\\sh \"" OX_AGENT_SCRIPT "\" \"" + machine_path(folder_) + "\" " + address;
  std::string line = command;
  STARTUPINFOA how{};
  how.cb = sizeof how;
  PROCESS_INFORMATION made{};
  if (::CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &how, &made) == FALSE) {
    throw std::runtime_error(command + ": error " + std::to_string(::GetLastError()));
  }
}

bool AgentProcess::running() { return !folder_.empty() && fs::exists(folder_ + "/running"); }

void AgentProcess::kill() {
  if (!running()) return;
  fs::rename(folder_ + "/running", folder_ + "/end");
  for (int i = 0; i < 500 && fs::exists(folder_ + "/end"); ++i) ::Sleep(10);
}

}  // namespace ox::test
