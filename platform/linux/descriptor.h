// A file descriptor with one owner.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace ox::platform {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) noexcept : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Descriptor() { close(); }

  // Keeps errno, so that a failure can still be reported afterwards.
  void close() noexcept {
    if (fd_ < 0) return;
    const int saved = errno;
    ::close(std::exchange(fd_, -1));
    errno = saved;
  }

  [[nodiscard]] int get() const noexcept { return fd_; }
  [[nodiscard]] int release() noexcept { return std::exchange(fd_, -1); }
  [[nodiscard]] explicit operator bool() const noexcept { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

// Repeats a system call that a signal interrupted.
template <class Call>
auto retry(Call call) noexcept {
  for (;;) {
    const auto result = call();
    if (result >= 0 || errno != EINTR) return result;
  }
}

}  // namespace ox::platform
