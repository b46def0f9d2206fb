#include "platform/program.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/argument_text.h"
#include "platform/process_list.h"
#include "platform/windows/ansi_text.h"
#include "platform/windows/fail.h"
#include "platform/windows/handle.h"

namespace ox::platform {
namespace {

std::string command_line(const std::vector<std::string>& arguments) {
  std::string line;
  for (const std::string& argument : arguments) line += (line.empty() ? "" : " ") + argument_text(argument, ansi_size);
  return line;
}

// Whether they have the variable's name, in which case does not count.
bool give(const std::vector<std::string>& variables, std::string_view variable) {
  const std::size_t size = variable.find('=', 1) + 1;  // the system's own begin with one
  return std::any_of(variables.begin(), variables.end(), [variable, size](const std::string& given) {
    return given.size() >= size && ::_strnicmp(given.data(), variable.data(), size) == 0;
  });
}

// This process's own variables, each with its zero byte; the last one is empty.
class OwnVariables {
 public:
  OwnVariables() noexcept : all_(::GetEnvironmentStringsA(), ::FreeEnvironmentStringsA) {}
  [[nodiscard]] const char* first() const noexcept { return all_ ? all_.get() : ""; }

 private:
  std::unique_ptr<char, decltype(&::FreeEnvironmentStringsA)> all_;
};

// The variables, and this process's own of other names; each with its zero byte, and one more.
std::string environment(const std::vector<std::string>& variables) {
  std::string block;
  for (const std::string& variable : variables) block += variable + '\0';
  const OwnVariables own;
  for (const char* variable = own.first(); *variable != '\0';) {
    const std::string_view text = variable;
    if (!give(variables, text)) block.append(text).push_back('\0');
    variable += text.size() + 1;
  }
  return block + '\0';
}

// A file that started programs inherit.
Handle inherited_file(const char* path, DWORD access, DWORD disposition) {
  SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
  return Handle(::CreateFileA(path, access, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherited, disposition, 0, nullptr));
}

// A job that ends with its last handle, unless what is in it is to run on.
Handle make_job(bool outlives) {
  Handle job(::CreateJobObjectA(nullptr, nullptr));
  JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
  limits.BasicLimitInformation.LimitFlags = outlives ? 0 : JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
  (void)::SetInformationJobObject(job.get(), JobObjectExtendedLimitInformation, &limits, sizeof limits);
  return job;
}

// Whether it is in the job then. Where the system takes no job inside another, the program alone is ended.
bool enter(const Handle& job, HANDLE process) {
  BOOL inside = FALSE;
  (void)::IsProcessInJob(process, job.get(), &inside);
  return inside != FALSE || ::AssignProcessToJobObject(job.get(), process) != FALSE;
}

// How a program is started inside a job, so that nothing is left of it at whatever moment this process ends. Before
// Windows 10 there is no such way: a program is made suspended, and enters the job then.
class JobStartup {
 public:
  JobStartup(const STARTUPINFOA& plain, const Handle& job) : job_(job.get()) {
    constexpr DWORD_PTR job_list = 0x0002000D;  // PROC_THREAD_ATTRIBUTE_JOB_LIST
    SIZE_T size = 0;
    (void)::InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
    bytes_.resize(size);
    all_.StartupInfo = plain;
    all_.StartupInfo.cb = sizeof all_;
    const auto list = reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(bytes_.data());
    if (!job || ::InitializeProcThreadAttributeList(list, 1, 0, &size) == FALSE) return;
    all_.lpAttributeList = list;
    known_ = ::UpdateProcThreadAttribute(list, 0, job_list, &job_, sizeof job_, nullptr, nullptr) != FALSE;
  }
  JobStartup(const JobStartup&) = delete;
  JobStartup& operator=(const JobStartup&) = delete;
  ~JobStartup() {
    if (all_.lpAttributeList != nullptr) ::DeleteProcThreadAttributeList(all_.lpAttributeList);
  }
  // Null when the system does not know of jobs at the start.
  [[nodiscard]] STARTUPINFOA* get() { return known_ ? &all_.StartupInfo : nullptr; }

 private:
  HANDLE job_;
  std::vector<char> bytes_;
  STARTUPINFOEXA all_{};
  bool known_ = false;
};

}  // namespace

const int reload_signal = 0;
const bool takes_line_as_it_is = true;

struct Program::Process {
  ~Process() {
    if (!process || outlives) return;
    kill();
    (void)::WaitForSingleObject(process.get(), 10'000);  // what it holds open is free then
  }
  void kill() const {
    constexpr UINT killed = 137;  // as Linux shells show it
    if (!job || ::TerminateJobObject(job.get(), killed) == FALSE) (void)::TerminateProcess(process.get(), killed);
  }

  Handle process, job, output;
  bool outlives = false;
};

Program::Program() noexcept = default;
Program::Program(Program&&) noexcept = default;
Program& Program::operator=(Program&&) noexcept = default;
Program::~Program() = default;

Error Program::start(const std::vector<std::string>& arguments, const ProgramSetting& setting) {
  if (arguments.empty()) return fail(error_invalid_parameter);
  auto process = std::make_unique<Process>();
  Handle input, output;
  if (!setting.output_file.empty()) {
    output = inherited_file(setting.output_file.c_str(), FILE_APPEND_DATA, OPEN_ALWAYS);
  } else if (setting.kept_output != 0) {
    HANDLE ends[2] = {};
    if (::CreatePipe(&ends[0], &ends[1], nullptr, 0) == FALSE) return fail_last();
    process->output = Handle(ends[0]);
    output = Handle(ends[1]);
    (void)::SetHandleInformation(output.get(), HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
  }
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  if (output) {
    input = inherited_file("NUL", GENERIC_READ, OPEN_EXISTING);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input.get();
    startup.hStdOutput = startup.hStdError = output.get();
  }
  std::string line = command_line(arguments);
  if (!setting.rest_of_line.empty()) line += ' ' + setting.rest_of_line;
  std::string block = environment(setting.variables);
  const DWORD flags = CREATE_SUSPENDED | (setting.in_console ? 0 : CREATE_NO_WINDOW);
  if (setting.in_console) (void)::SetConsoleCtrlHandler(nullptr, FALSE);  // whether it is passed over is inherited
  PROCESS_INFORMATION made{};
  const auto create = [&](DWORD more_flags, STARTUPINFOA* with) {
    return ::CreateProcessA(nullptr, line.data(), nullptr, nullptr, output ? TRUE : FALSE, flags | more_flags,
                            block.data(), setting.folder.empty() ? nullptr : setting.folder.c_str(), with,
                            &made) != FALSE;
  };
  process->job = make_job(setting.outlives);
  JobStartup inside(startup, process->job);
  const bool created = inside.get() != nullptr && create(EXTENDED_STARTUPINFO_PRESENT, inside.get());
  if (!created && !create(0, &startup)) return fail_last();
  const Handle thread(made.hThread);
  process->process = Handle(made.hProcess);  // none for a program of the machine under an emulator
  if (!enter(process->job, made.hProcess)) process->job = Handle();
  (void)::ResumeThread(thread.get());
  begin(std::move(process), setting);
  return error_none;
}

void Program::begin(std::unique_ptr<Process> process, const ProgramSetting& setting) {
  process->outlives = setting.outlives;
  process_ = std::move(process);
  output_.clear();
  kept_output_ = setting.kept_output;
  keeps_end_ = setting.keeps_end;
  status_ = -1;
}

void Program::take_output() {
  char bytes[4096];
  DWORD size = 0;
  while (process_->output && ::PeekNamedPipe(process_->output.get(), nullptr, 0, nullptr, &size, nullptr) != FALSE &&
         size != 0 && ::ReadFile(process_->output.get(), bytes, sizeof bytes, &size, nullptr) != FALSE) {
    keep({bytes, size});
  }
}

bool Program::running() {
  if (process_ == nullptr) return false;
  const bool ended = ::WaitForSingleObject(process_->process.get(), 0) != WAIT_TIMEOUT;
  take_output();
  if (!ended) return true;
  DWORD code = 0;
  if (::GetExitCodeProcess(process_->process.get(), &code) != FALSE) status_ = static_cast<int>(code);
  process_.reset();
  return false;
}

void Program::ask_to_end() {
  if (!running()) return;
  (void)::SetConsoleCtrlHandler(nullptr, TRUE);
  (void)::GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
}

void Program::kill_without_waiting() {
  if (running()) process_->kill();
}

std::uint32_t Program::id() const noexcept {
  return process_ != nullptr ? static_cast<std::uint32_t>(::GetProcessId(process_->process.get())) : 0;
}

std::uint64_t Program::started() const noexcept { return start_of_process(id()); }

// "WINE": what stands in for Windows elsewhere finds its own files by these.
void clean_environment() {
  constexpr const char* kept[] = {
      "PATH",      "PATHEXT",  "SystemRoot", "SystemDrive", "windir",       "ComSpec",
      "OS",        "TEMP",     "TMP",        "APPDATA",     "LOCALAPPDATA", "ALLUSERSPROFILE",
      "HOMEDRIVE", "HOMEPATH", "PUBLIC",     "TZ",          "COMPUTERNAME", "NUMBER_OF_PROCESSORS",
      "LANG"};
  constexpr const char* families[] = {"USER", "Program", "CommonProgram", "PROCESSOR_", "LC_", "OX", "WINE", "="};
  std::vector<std::string> unknown;
  const OwnVariables own;
  for (const char* variable = own.first(); *variable != '\0'; variable += std::strlen(variable) + 1) {
    const std::string name(variable, std::strcspn(variable + 1, "=") + 1);  // the system's own begin with one
    const auto is_name = [&name](const char* one) { return ::_stricmp(one, name.c_str()) == 0; };
    const auto is_of = [&name](const char* family) {
      return ::_strnicmp(family, name.c_str(), std::strlen(family)) == 0;
    };
    const bool stays = std::any_of(std::begin(kept), std::end(kept), is_name) ||
                       std::any_of(std::begin(families), std::end(families), is_of);
    if (!stays) unknown.push_back(name);
  }
  for (const std::string& name : unknown) (void)::SetEnvironmentVariableA(name.c_str(), nullptr);
}

void give_programs(const char* name, const std::string& value) { (void)::SetEnvironmentVariableA(name, value.c_str()); }

std::string own_program_folder() {
  char path[MAX_PATH];
  const std::string program(path, ::GetModuleFileNameA(nullptr, path, sizeof path));
  return program.substr(0, last_backslash(program.c_str()));
}

}  // namespace ox::platform
