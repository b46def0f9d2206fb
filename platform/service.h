// The system's services, and the process start that the logon needs.
#pragma once

#include <cstdint>
#include <memory>

#include "platform/error.h"

namespace ox::platform {

// Whether the service is in its running state. error_no_such_service (or the service manager's error) when it is
// unknown. On Linux a service runs while its daemon holds the service's lock under the system root; an unknown one is
// simply not running.
[[nodiscard]] Error service_running(const char* name, bool& running);

// The process of the daemon that holds the mark; 0 where the system does not tell.
[[nodiscard]] std::uint32_t service_process(const char* name);

// Holds a service's running mark for as long as it lives. On Windows, where the service manager knows, it does nothing.
class ServiceMark {
 public:
  ServiceMark();
  ServiceMark(ServiceMark&&) noexcept;
  ServiceMark& operator=(ServiceMark&&) noexcept;
  ~ServiceMark();
  // error_already_exists when another process holds it.
  [[nodiscard]] Error hold(const char* name);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// A service that the service manager knows, opened for reading. On Linux it is known once its daemon has run.
class KnownService {
 public:
  KnownService();
  ~KnownService();
  KnownService(const KnownService&) = delete;
  KnownService& operator=(const KnownService&) = delete;
  // error_no_such_service.
  [[nodiscard]] Error open(const char* name);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// Starts a program of the installation (found beside the library or on the path) without waiting for its end. On
// Windows it returns when the program's windows are there and wait for input.
[[nodiscard]] Error start_program(const char* program);

}  // namespace ox::platform
