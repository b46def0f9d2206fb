// A descriptor that belongs to this process alone: a forked child has it closed before the fork returns there, and what
// still names it in the child names none. A peer so sees the end of the process that it talks to, whoever else lives
// on.
#pragma once

#include <cstdint>

namespace ox::platform {

class OwnDescriptor {
 public:
  explicit OwnDescriptor(int fd) noexcept;  // takes over
  OwnDescriptor(const OwnDescriptor&) = delete;
  OwnDescriptor& operator=(const OwnDescriptor&) = delete;
  ~OwnDescriptor();

  void take(int fd) noexcept;  // in place of the one it has; -1 for none

  [[nodiscard]] int get() const noexcept { return fd_; }
  [[nodiscard]] explicit operator bool() const noexcept { return fd_ >= 0; }

 private:
  static void close_all() noexcept;
  static const bool watched;

  int fd_;
  OwnDescriptor* next_ = nullptr;  // in the list of all
  OwnDescriptor* prev_ = nullptr;
};

// That of a pipe that keeps one for its native handle; -1 in a forked child.
[[nodiscard]] inline OwnDescriptor* owner_of(std::intptr_t native) noexcept {
  return reinterpret_cast<OwnDescriptor*>(native);
}
[[nodiscard]] inline int descriptor_of(std::intptr_t native) noexcept {
  return native != -1 ? owner_of(native)->get() : -1;
}

}  // namespace ox::platform
