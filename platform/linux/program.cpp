#include "platform/server/program.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "platform/linux/fail.h"

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
struct Setting {
  Setting() {
    (void)posix_spawn_file_actions_init(&files);
    (void)posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    (void)posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
    sigset_t all;
    sigset_t none;
    (void)sigfillset(&all);
    (void)sigemptyset(&none);
    (void)posix_spawnattr_init(&attributes);
    (void)posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    (void)posix_spawnattr_setsigdefault(&attributes, &all);
    (void)posix_spawnattr_setsigmask(&attributes, &none);
  }
  ~Setting() {
    (void)posix_spawn_file_actions_destroy(&files);
    (void)posix_spawnattr_destroy(&attributes);
  }
  Setting(const Setting&) = delete;
  Setting& operator=(const Setting&) = delete;

  posix_spawn_file_actions_t files;
  posix_spawnattr_t attributes;
};

}  // namespace

const int reload_signal = SIGHUP;

Program::Program(Program&& other) noexcept : process_(std::exchange(other.process_, 0)) {}
Program& Program::operator=(Program&& other) noexcept {
  std::swap(process_, other.process_);
  return *this;
}
Program::~Program() = default;

Error Program::start(const std::vector<std::string>& arguments, const std::vector<std::string>& variables) {
  if (arguments.empty()) return fail(error_invalid_parameter);
  std::vector<char*> words = pointers(arguments);
  words.push_back(nullptr);
  std::vector<char*> environment = merged(variables);
  environment.push_back(nullptr);
  const Setting setting;
  pid_t pid = 0;
  const int error =
      posix_spawnp(&pid, words.front(), &setting.files, &setting.attributes, words.data(), environment.data());
  if (error != 0) return fail_errno(error);
  process_ = pid;
  return error_none;
}

bool Program::running() {
  if (process_ == 0) return false;
  if (::waitpid(static_cast<pid_t>(process_), nullptr, WNOHANG) == 0) return true;
  process_ = 0;
  return false;
}

}  // namespace ox::platform
