// The console is the standard error stream, or the terminal of a process that closed it.
#include "platform/console.h"

#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <mutex>

#include "platform/fork.h"
#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"

namespace ox::platform {
namespace {

constexpr int console_signals[] = {SIGINT, SIGQUIT, SIGHUP};

constinit std::mutex guard;  // the state below, except what says otherwise
[[maybe_unused]] const bool free_in_child = free_in_forked_child(guard);
Descriptor& output() {
  alignas(Descriptor) static constinit unsigned char storage[sizeof(Descriptor)] = {};
  static constinit Descriptor* made = nullptr;
  if (made == nullptr) made = new (storage) Descriptor();  // never destroyed: it is written to during exit, too
  return *made;
}

std::atomic<ConsoleHandler> handler{nullptr};
// Signals run the handler on a thread of its own: it takes locks, which a signal handler must not. Thread and pipe
// stay for the life of the process once they are made, since a signal may be on its way at any time.
std::atomic<int> signal_pipe{-1};
std::atomic<pid_t> thread_process{0};  // a forked child has the pipe but not the thread

void die_of(int signal) noexcept {
  (void)::signal(signal, SIG_DFL);
  (void)::kill(::getpid(), signal);
}

void on_signal(int signal) {
  const int saved = errno;
  if (thread_process.load() == ::getpid()) {
    const auto byte = static_cast<unsigned char>(signal);
    (void)!::write(signal_pipe.load(), &byte, 1);
  } else {
    die_of(signal);
  }
  errno = saved;
}

void* run_handler(void* reader) {
  const auto fd = static_cast<int>(reinterpret_cast<std::intptr_t>(reader));
  unsigned char signal = 0;
  while (retry([&] { return ::read(fd, &signal, 1); }) == 1) {
    const ConsoleHandler run = handler.load();
    const bool handled = run != nullptr && run(signal == SIGINT ? ConsoleEvent::interrupt : ConsoleEvent::other);
    if (!handled) die_of(signal);
  }
  return nullptr;
}

Error start_thread() noexcept {
  if (thread_process.load() == ::getpid()) return error_none;
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return fail_errno();
  sigset_t all;
  sigset_t before;
  (void)::sigfillset(&all);
  (void)::pthread_sigmask(SIG_SETMASK, &all, &before);
  pthread_t thread{};
  const int result = ::pthread_create(&thread, nullptr, run_handler, reinterpret_cast<void*>(std::intptr_t{ends[0]}));
  (void)::pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (result != 0) {
    (void)::close(ends[0]);
    (void)::close(ends[1]);
    return fail_errno(result);
  }
  (void)::pthread_detach(thread);
  signal_pipe = ends[1];
  thread_process = ::getpid();
  return error_none;
}

// A closed pipe behind the stream must not end the process: the signal that the write may raise is taken back.
class NoPipeSignal {
 public:
  NoPipeSignal() noexcept {
    (void)::sigemptyset(&pipe_);
    (void)::sigaddset(&pipe_, SIGPIPE);
    sigset_t pending;
    (void)::sigpending(&pending);
    was_pending_ = ::sigismember(&pending, SIGPIPE) == 1;
    (void)::pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  NoPipeSignal(const NoPipeSignal&) = delete;
  NoPipeSignal& operator=(const NoPipeSignal&) = delete;
  ~NoPipeSignal() {
    const int saved = errno;
    const timespec none{};
    if (!was_pending_) (void)::sigtimedwait(&pipe_, nullptr, &none);
    (void)::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    errno = saved;
  }

 private:
  sigset_t pipe_;
  sigset_t before_;
  bool was_pending_ = false;
};

}  // namespace

Error console_allocate() noexcept {
  const std::lock_guard lock(guard);
  if (output()) return error_none;
  int fd = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
  if (fd < 0) fd = ::open("/dev/tty", O_WRONLY | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) return fail(error_invalid_handle);
  output() = Descriptor(fd);
  return error_none;
}

// A signal that the program handles or ignores itself is left to it.
Error console_set_handler(ConsoleHandler to) noexcept {
  const std::lock_guard lock(guard);
  if (const Error error = start_thread()) return error;
  handler = to;
  for (const int signal : console_signals) {
    struct sigaction now {};
    if (::sigaction(signal, nullptr, &now) != 0 || (now.sa_flags & SA_SIGINFO) != 0) continue;
    if (now.sa_handler != SIG_DFL) continue;
    struct sigaction ours {};
    ours.sa_handler = on_signal;
    ours.sa_flags = SA_RESTART;
    (void)::sigaction(signal, &ours, nullptr);
  }
  return error_none;
}

Error console_write(std::string_view text) noexcept {
  const std::lock_guard lock(guard);
  if (!output()) return fail(error_invalid_handle);
  const NoPipeSignal quiet;
  while (!text.empty()) {
    const ssize_t put = retry([&] { return ::write(output().get(), text.data(), text.size()); });
    if (put < 0) return fail_errno();
    text.remove_prefix(static_cast<std::size_t>(put));
  }
  return error_none;
}

void console_release() noexcept {
  const std::lock_guard lock(guard);
  for (const int signal : console_signals) {
    struct sigaction now {};
    const bool ours = ::sigaction(signal, nullptr, &now) == 0 && now.sa_handler == on_signal;
    if (ours) (void)::signal(signal, SIG_DFL);
  }
  handler = nullptr;
  output().close();
}

}  // namespace ox::platform
