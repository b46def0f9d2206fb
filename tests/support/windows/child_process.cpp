#include "tests/support/child_process.h"

#include <windows.h>

#include <map>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

#include "platform/windows/handle.h"
#include "tests/support/windows/command_line.h"

namespace ox::test {
namespace {

using platform::Handle;

// Handles of what was started, by process id: an id alone could be another process's by now.
std::mutex guard;
std::map<int, Handle> started;

// What a test starts ends with it, however it ends. All of them share a console, for Ctrl+C.
void prepare_once() {
  static const bool done = [] {
    const HANDLE job = ::CreateJobObjectA(nullptr, nullptr);  // kept to the end
    JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
    limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
    (void)::SetInformationJobObject(job, JobObjectExtendedLimitInformation, &limits, sizeof limits);
    (void)::AssignProcessToJobObject(job, ::GetCurrentProcess());
    (void)::FreeConsole();
    return ::AllocConsole() != FALSE;
  }();
  (void)done;
}

std::string environment_block(const std::vector<std::string>& additions) {
  std::map<std::string, std::string> variables;
  const auto add = [&](const std::string& variable) {
    const std::size_t name_end = variable.find('=', 1);  // names of hidden variables begin with one
    variables[variable.substr(0, name_end)] = variable;
  };
  char* const own = ::GetEnvironmentStringsA();
  for (const char* variable = own; *variable != '\0'; variable += std::string(variable).size() + 1) add(variable);
  (void)::FreeEnvironmentStringsA(own);
  for (const std::string& variable : additions) add(variable);
  std::string block;
  for (const auto& [name, variable] : variables) block += variable + '\0';
  return block + '\0';
}

HANDLE handle_of(int pid) {
  const std::lock_guard lock(guard);
  return started[pid].get();
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const std::string& output_file,
                           const std::vector<std::string>& environment) {
  prepare_once();
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  const Handle output(::CreateFileA(output_file.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                    &inherited, OPEN_ALWAYS, 0, nullptr));
  const Handle input(
      ::CreateFileA("NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, OPEN_EXISTING, 0, nullptr));
  STARTUPINFOA how{};
  how.cb = sizeof how;
  how.dwFlags = STARTF_USESTDHANDLES;
  how.hStdInput = input.get();
  how.hStdOutput = output.get();
  how.hStdError = output.get();
  std::string line = command_line(arguments);
  std::string block = environment_block(environment);
  PROCESS_INFORMATION made{};
  if (::CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, block.data(), nullptr, &how, &made) == FALSE) {
    throw std::runtime_error(arguments.front() + ": error " + std::to_string(::GetLastError()));
  }
  (void)::CloseHandle(made.hThread);
  pid_ = static_cast<int>(made.dwProcessId);
  const std::lock_guard lock(guard);
  started[pid_] = Handle(made.hProcess);
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : pid_(std::exchange(other.pid_, 0)), status_(std::exchange(other.status_, -1)) {}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
  std::swap(pid_, other.pid_);
  std::swap(status_, other.status_);
  return *this;
}

ChildProcess::~ChildProcess() { kill(); }

bool ChildProcess::running() { return wait(std::chrono::milliseconds(0)) == -1 && pid_ != 0; }

int ChildProcess::wait(std::chrono::milliseconds limit) {
  if (pid_ == 0) return status_;
  const HANDLE process = handle_of(pid_);
  if (::WaitForSingleObject(process, static_cast<DWORD>(limit.count())) != WAIT_OBJECT_0) return -1;
  DWORD code = 0;
  (void)::GetExitCodeProcess(process, &code);
  status_ = static_cast<int>(code);
  const std::lock_guard lock(guard);
  started.erase(std::exchange(pid_, 0));
  return status_;
}

void ChildProcess::ask_to_end() {
  if (!running()) return;
  // Everyone on the console gets it; the test is the one that does not care.
  (void)::SetConsoleCtrlHandler(nullptr, TRUE);
  (void)::GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
  (void)wait(std::chrono::seconds(10));
  (void)::SetConsoleCtrlHandler(nullptr, FALSE);  // what is started later inherits it
}

void ChildProcess::kill() {
  if (!running()) return;
  (void)::TerminateProcess(handle_of(pid_), 137);
  (void)wait(std::chrono::seconds(10));
}

}  // namespace ox::test
