// Threads of the library's own. They take no signal, which are the program's to take where it likes. Where there has
// been one the library stays loaded until the process ends.
#pragma once

#include <functional>
#include <memory>

namespace ox::platform {

class Thread {
 public:
  Thread();
  // Throws std::system_error, std::bad_alloc.
  explicit Thread(std::function<void()> body);
  Thread(Thread&& other) noexcept;
  Thread& operator=(Thread&& other) noexcept;
  ~Thread();  // it has been joined, or its end is that of the process

  [[nodiscard]] bool joinable() const noexcept { return impl_ != nullptr; }
  void join() noexcept;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ox::platform
