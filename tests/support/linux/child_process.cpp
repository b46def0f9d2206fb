#include "tests/support/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>
#include <thread>

namespace ox::test {

ChildProcess::ChildProcess(const std::vector<std::string>& arguments, const std::string& output_file, Hears /*hears*/) {
  std::vector<char*> words;
  for (const std::string& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&files, 1, output_file.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  posix_spawn_file_actions_adddup2(&files, 1, 2);
  pid_t pid = 0;
  const int error = posix_spawn(&pid, words.front(), &files, nullptr, words.data(), environ);
  posix_spawn_file_actions_destroy(&files);
  if (error != 0) throw std::runtime_error(arguments.front() + ": " + std::strerror(error));
  process_ = pid;
}

int ChildProcess::pid() const noexcept { return static_cast<int>(process_); }

int ChildProcess::wait(std::chrono::milliseconds limit) {
  if (process_ == 0) return status_;
  const auto end = std::chrono::steady_clock::now() + limit;
  int status = 0;
  while (waitpid(pid(), &status, WNOHANG) != pid()) {
    if (std::chrono::steady_clock::now() >= end) return -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  process_ = 0;
  return status_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void ChildProcess::ask_to_end() {
  if (running()) ::kill(pid(), SIGTERM);
}

void ChildProcess::kill() {
  if (!running()) return;
  ::kill(pid(), SIGKILL);
  (void)wait(std::chrono::seconds(10));
}

}  // namespace ox::test
