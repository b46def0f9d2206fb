// Owner of a kernel object's handle.
#pragma once

#include <windows.h>

#include <utility>

namespace ox::platform {

class Handle {
 public:
  Handle() = default;
  // Both "no handle" values of the system's calls count as none.
  explicit Handle(HANDLE handle) noexcept : handle_(handle != INVALID_HANDLE_VALUE ? handle : nullptr) {}
  Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Handle& operator=(Handle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~Handle() { close(); }

  [[nodiscard]] HANDLE get() const noexcept { return handle_; }
  [[nodiscard]] HANDLE release() noexcept { return std::exchange(handle_, nullptr); }
  void close() noexcept {
    if (handle_ != nullptr) (void)::CloseHandle(std::exchange(handle_, nullptr));
  }
  [[nodiscard]] explicit operator bool() const noexcept { return handle_ != nullptr; }

 private:
  HANDLE handle_ = nullptr;
};

}  // namespace ox::platform
