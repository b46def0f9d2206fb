#include "tests/support/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>
#include <thread>
#include <utility>

extern char** environ;

namespace ox::test {
namespace {

std::vector<char*> pointers(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (const std::string& text : texts) result.push_back(const_cast<char*>(text.c_str()));
  result.push_back(nullptr);
  return result;
}

std::string found(const std::string& program) {
  if (program.find('/') != std::string::npos) return program;
  for (const char* folder : {"/usr/bin/", "/usr/sbin/", "/bin/", "/sbin/", "/usr/local/bin/", "/usr/local/sbin/"}) {
    if (access((folder + program).c_str(), X_OK) == 0) return folder + program;
  }
  throw std::runtime_error(program + " is not installed");
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const std::string& output_file,
                           const std::vector<std::string>& environment) {
  std::vector<std::string> variables = environment;
  for (char** variable = environ; *variable != nullptr; ++variable) variables.emplace_back(*variable);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&files, 1, output_file.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  posix_spawn_file_actions_adddup2(&files, 1, 2);
  const std::string program = found(arguments.front());
  const int error =
      posix_spawn(&pid_, program.c_str(), &files, nullptr, pointers(arguments).data(), pointers(variables).data());
  posix_spawn_file_actions_destroy(&files);
  if (error != 0) throw std::runtime_error(program + ": " + std::strerror(error));
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : pid_(std::exchange(other.pid_, 0)), status_(std::exchange(other.status_, -1)) {}

ChildProcess& ChildProcess::operator=(ChildProcess&& other) noexcept {
  std::swap(pid_, other.pid_);
  std::swap(status_, other.status_);
  return *this;
}

ChildProcess::~ChildProcess() { kill(); }

bool ChildProcess::running() {
  if (pid_ == 0) return false;
  int status = 0;
  if (waitpid(pid_, &status, WNOHANG) != pid_) return true;
  status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  pid_ = 0;
  return false;
}

int ChildProcess::wait(std::chrono::milliseconds limit) {
  const auto end = std::chrono::steady_clock::now() + limit;
  while (running()) {
    if (std::chrono::steady_clock::now() >= end) return -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return status_;
}

void ChildProcess::ask_to_end() {
  if (running()) ::kill(pid_, SIGTERM);
}

void ChildProcess::kill() {
  if (!running()) return;
  ::kill(pid_, SIGKILL);
  (void)wait(std::chrono::seconds(10));
}

}  // namespace ox::test
