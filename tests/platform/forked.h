// Forked copies of the test, for what only another process can show.
#pragma once

#include <grp.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace ox::test {

class Forked {
 public:
  // Runs `body` in a new process and waits until it has returned; the process then stays until it is killed.
  template <class Body>
  explicit Forked(Body body) {
    int ends[2];
    if (pipe(ends) != 0 || (pid_ = fork()) < 0) std::abort();
    if (pid_ == 0) {
      close(ends[0]);
      const char answer = body() ? 'y' : 'n';
      (void)!write(ends[1], &answer, 1);
      for (;;) pause();
    }
    close(ends[1]);
    char answer = 'x';  // stays when the process died
    (void)!read(ends[0], &answer, 1);
    close(ends[0]);
    succeeded_ = answer == 'y';
  }
  Forked(const Forked&) = delete;
  Forked& operator=(const Forked&) = delete;
  ~Forked() { kill(); }

  [[nodiscard]] bool succeeded() const noexcept { return succeeded_; }
  [[nodiscard]] pid_t pid() const noexcept { return pid_; }

  void kill() noexcept {
    if (pid_ == 0) return;
    ::kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    pid_ = 0;
  }

 private:
  pid_t pid_ = 0;
  bool succeeded_ = false;
};

// A child that runs `body` and leaves with its result; by SIGALRM where it hangs.
template <auto leave = std::exit, class Body>
pid_t start_child(Body body) {
  const pid_t child = fork();
  if (child != 0) return child;
  alarm(20);
  leave(body());
  std::abort();
}
inline int end_of(pid_t child) {
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

// In a forked child: gives up the rights of root, where the test has them.
inline bool become_nobody() {
  constexpr unsigned nobody = 65534;
  return geteuid() != 0 || (setgroups(0, nullptr) == 0 && setgid(nobody) == 0 && setuid(nobody) == 0);
}

}  // namespace ox::test
