#include "platform/program.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "platform/daemon_service.h"
#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"
#include "platform/process_list.h"

namespace ox::platform {
namespace {

std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (const std::string& text : texts) result.push_back(const_cast<char*>(text.c_str()));
  return result;
}

// The variables, and this process's own of other names: of two of one name, some programs take the first and shells the
// last.
std::vector<char*> merged(const std::vector<std::string>& variables) {
  std::vector<char*> result = pointers(variables);
  for (char** own = environ; *own != nullptr; ++own) {
    const std::string_view text = *own;
    const std::string_view name = text.substr(0, text.find('=') + 1);
    const bool given = std::any_of(variables.begin(), variables.end(),
                                   [name](const std::string& variable) { return variable.starts_with(name); });
    if (!given) result.push_back(*own);
  }
  return result;
}

// A program that inherited the locks that this process holds would hold them after its death. Nor is it to inherit the
// signals that this process waits for in its own way.
struct Spawn {
  Spawn(const std::string& folder, const std::string& output_file, int output) {
    (void)posix_spawn_file_actions_init(&files);
    if (!folder.empty()) (void)posix_spawn_file_actions_addchdir_np(&files, folder.c_str());
    (void)posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (output >= 0) (void)posix_spawn_file_actions_adddup2(&files, output, STDOUT_FILENO);
    if (!output_file.empty()) {
      (void)posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, output_file.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                             0644);
    }
    if (output >= 0 || !output_file.empty()) {
      (void)posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
    }
    (void)posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
    sigset_t all;
    sigset_t none;
    (void)sigfillset(&all);
    (void)sigemptyset(&none);
    (void)posix_spawnattr_init(&attributes);
    (void)posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
    (void)posix_spawnattr_setsigdefault(&attributes, &all);
    (void)posix_spawnattr_setsigmask(&attributes, &none);
  }
  ~Spawn() {
    (void)posix_spawn_file_actions_destroy(&files);
    (void)posix_spawnattr_destroy(&attributes);
  }
  Spawn(const Spawn&) = delete;
  Spawn& operator=(const Spawn&) = delete;

  posix_spawn_file_actions_t files;
  posix_spawnattr_t attributes;
};

}  // namespace

const int reload_signal = SIGHUP;
const bool takes_line_as_it_is = false;

struct Program::Process {
  ~Process() {
    if (id == 0 || outlives) return;
    kill();
    (void)retry([this] { return ::waitpid(id, nullptr, 0); });
  }
  void kill() const { (void)::kill(-id, SIGKILL); }

  pid_t id = 0;  // of the process and of its group
  std::uint64_t started = 0;
  Descriptor output;
  bool outlives = false;
};

Program::Program() noexcept = default;
Program::Program(Program&&) noexcept = default;
Program& Program::operator=(Program&&) noexcept = default;
Program::~Program() = default;

Error Program::start(const std::vector<std::string>& arguments, const ProgramSetting& setting) {
  if (arguments.empty()) return fail(error_invalid_parameter);
  std::vector<char*> words = pointers(arguments);
  words.push_back(nullptr);
  std::vector<char*> environment = merged(setting.variables);
  environment.push_back(nullptr);
  auto process = std::make_unique<Process>();
  int ends[2] = {-1, -1};
  if (setting.kept_output != 0 && ::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) return fail_errno();
  process->output = Descriptor(ends[0]);
  const Descriptor theirs(ends[1]);
  if (theirs) (void)::fcntl(theirs.get(), F_SETFL, 0);
  const Spawn spawn(setting.folder, setting.output_file, theirs.get());
  const int error =
      posix_spawnp(&process->id, words.front(), &spawn.files, &spawn.attributes, words.data(), environment.data());
  if (error != 0) return fail_errno(error);
  process->started = start_of_process(static_cast<std::uint32_t>(process->id));
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
  char bytes[65536];  // what the system's buffer holds
  const ssize_t got = process_->output ? ::read(process_->output.get(), bytes, sizeof bytes) : 0;
  if (got > 0) keep({bytes, static_cast<std::size_t>(got)});
}

bool Program::running() {
  if (process_ == nullptr) return false;
  siginfo_t end{};
  const auto id = static_cast<id_t>(process_->id);
  const bool ended = ::waitid(P_PID, id, &end, WEXITED | WNOHANG | WNOWAIT) != 0 || end.si_pid != 0;
  take_output();
  if (!ended) return true;
  if (!process_->outlives) process_->kill();  // while its id is still its own
  int status = 0;
  (void)retry([&] { return ::waitpid(process_->id, &status, 0); });
  process_->id = 0;
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  process_.reset();
  return false;
}

void Program::ask_to_end() {
  if (running()) (void)::kill(process_->id, SIGTERM);
}

void Program::kill_without_waiting() {
  if (running()) process_->kill();
}

std::uint32_t Program::id() const noexcept {
  return process_ != nullptr ? static_cast<std::uint32_t>(process_->id) : 0;
}

void clean_environment() {
  constexpr std::string_view kept[] = {"PATH", "HOME",  "USER",   "LOGNAME",         "LANG",
                                       "TZ",   "TZDIR", "TMPDIR", "SYSTEMD_EXEC_PID"};
  constexpr std::string_view families[] = {"LC_", "OX", "XDG_"};
  (void)alive_interval();  // keeps where the service manager listens
  std::vector<std::string> unknown;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view text = *variable;
    const std::string_view name = text.substr(0, text.find('='));
    const bool stays = std::find(std::begin(kept), std::end(kept), name) != std::end(kept) ||
                       std::any_of(std::begin(families), std::end(families),
                                   [name](std::string_view family) { return name.starts_with(family); });
    if (!stays) unknown.emplace_back(name);
  }
  for (const std::string& name : unknown) (void)::unsetenv(name.c_str());
  // What lets this process serve low ports is not its programs'.
  (void)::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0);
}

void give_programs(const char* name, const std::string& value) { (void)::setenv(name, value.c_str(), 1); }

std::uint64_t Program::started() const noexcept { return process_ != nullptr ? process_->started : 0; }

}  // namespace ox::platform
