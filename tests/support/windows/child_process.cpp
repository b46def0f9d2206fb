#include "tests/support/child_process.h"

#include <windows.h>

#include <stdexcept>

#include "platform/windows/handle.h"

namespace ox::test {
namespace {

using platform::Handle;

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

// Arguments in one line, as the C runtime takes it apart again.
std::string command_line(const std::vector<std::string>& arguments) {
  std::string line;
  for (const std::string& argument : arguments) {
    line += line.empty() ? "\"" : " \"";
    std::size_t backslashes = 0;
    for (const char c : argument) {
      if (c == '"') line.append(backslashes + 1, '\\');
      backslashes = c == '\\' ? backslashes + 1 : 0;
      line += c;
    }
    line.append(backslashes, '\\') += '"';
  }
  return line;
}

HANDLE handle_of(std::intptr_t process) { return reinterpret_cast<HANDLE>(process); }

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const std::string& output_file, Hears hears) {
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
  PROCESS_INFORMATION made{};
  (void)::SetConsoleCtrlHandler(nullptr, hears == Hears::nothing);  // is inherited
  const bool started =
      ::CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &how, &made) != FALSE;
  if (!started) throw std::runtime_error(line + ": error " + std::to_string(::GetLastError()));
  if (made.hThread != nullptr) (void)::CloseHandle(made.hThread);
  process_ = reinterpret_cast<std::intptr_t>(made.hProcess);  // 0 for a program of the machine under an emulator
}

int ChildProcess::pid() const noexcept { return static_cast<int>(::GetProcessId(handle_of(process_))); }

int ChildProcess::wait(std::chrono::milliseconds limit) {
  if (process_ == 0) return status_;
  if (::WaitForSingleObject(handle_of(process_), static_cast<DWORD>(limit.count())) != WAIT_OBJECT_0) return -1;
  const Handle ended(handle_of(std::exchange(process_, 0)));
  DWORD code = 0;
  (void)::GetExitCodeProcess(ended.get(), &code);
  return status_ = static_cast<int>(code);
}

void ChildProcess::ask_to_end() {
  if (!running()) return;
  (void)::SetConsoleCtrlHandler(nullptr, TRUE);  // everyone on the console gets it
  (void)::GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
  (void)wait(std::chrono::seconds(10));
}

void ChildProcess::kill() {
  if (!running()) return;
  (void)::TerminateProcess(handle_of(process_), 137);
  (void)wait(std::chrono::seconds(10));
}

}  // namespace ox::test
