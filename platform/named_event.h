// Named events and mutexes of the machine. An object exists while at least one process holds it.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/access.h"
#include "platform/error.h"

namespace ox::platform {

inline constexpr std::uint32_t infinite = 0xFFFFFFFF;

// A manual-reset event: it stays signalled until it is reset. Any thread.
class NamedEvent {
 public:
  NamedEvent();
  NamedEvent(NamedEvent&&) noexcept;
  NamedEvent& operator=(NamedEvent&&) noexcept;
  ~NamedEvent();

  // Makes an event, not signalled; opens the existing one when there is one of that name. A null name makes one for
  // this process alone. *this is replaced only on success, in both calls.
  [[nodiscard]] Error create(const char* name, Access access);
  [[nodiscard]] Error open(const char* name);  // error_file_not_found, error_access_denied

  void set() noexcept;
  void reset() noexcept;
  // error_none when it is signalled, error_timeout.
  [[nodiscard]] Error wait(std::uint32_t milliseconds) noexcept;
  // Waits for the first of two events that is signalled: 0 or 1; -1 at the time-out.
  [[nodiscard]] static int wait_any(NamedEvent& first, NamedEvent& second, std::uint32_t milliseconds) noexcept;

  [[nodiscard]] explicit operator bool() const noexcept { return impl_ != nullptr; }

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// A named mutex. Its owner's death releases it.
class NamedMutex {
 public:
  NamedMutex();
  NamedMutex(NamedMutex&&) noexcept;
  NamedMutex& operator=(NamedMutex&&) noexcept;
  ~NamedMutex();  // releases it when owned

  [[nodiscard]] Error create(const char* name, Access access);  // opens an existing one
  [[nodiscard]] Error open(const char* name);                   // error_file_not_found
  [[nodiscard]] Error lock(std::uint32_t milliseconds) noexcept;
  void unlock() noexcept;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ox::platform
