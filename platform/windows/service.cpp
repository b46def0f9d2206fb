#include "platform/service.h"

#include <windows.h>

#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include "platform/environment.h"
#include "platform/windows/fail.h"
#include "platform/windows/handle.h"
#include "platform/windows/module.h"
#include "platform/windows/private_system.h"

namespace ox::platform {
namespace {

class ServiceHandle {
 public:
  explicit ServiceHandle(SC_HANDLE handle) noexcept : handle_(handle) {}
  ServiceHandle(const ServiceHandle&) = delete;
  ServiceHandle& operator=(ServiceHandle&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }
  ~ServiceHandle() {
    if (handle_ != nullptr) (void)::CloseServiceHandle(handle_);
  }
  [[nodiscard]] SC_HANDLE get() const noexcept { return handle_; }

 private:
  SC_HANDLE handle_;
};

Error ask_service_manager(const char* name, bool& running) {
  const ServiceHandle manager(::OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT));
  if (manager.get() == nullptr) return fail_last();
  const ServiceHandle service(::OpenServiceA(manager.get(), name, SERVICE_QUERY_STATUS));
  if (service.get() == nullptr) return fail_last();
  SERVICE_STATUS status{};
  if (::QueryServiceStatus(service.get(), &status) == FALSE) return fail_last();
  running = status.dwCurrentState == SERVICE_RUNNING;
  return error_none;
}

bool mutex_exists(const char* name) noexcept {
  return static_cast<bool>(Handle(::OpenMutexA(SYNCHRONIZE, FALSE, name)));
}

// Before the NT family there were no services: the daemons are programs known by a window or a mutex.
bool runs_as_program(std::string_view service) noexcept {
  struct Row {
    std::string_view service;
    const char* mutex;
  };
  constexpr Row rows[] = {{"Oxlogd", "OxlogdMutex"},
                          {"Oxexpd", "OxExpdMutex"},
                          {"Oxcmd", "OxCmdMutex"},
                          {"Oxrmapd", "OxRmapdMutex"},
                          {"Oxexrld", "OxRuledMutex"}};  // service and mutex are spelt differently
  if (service == "Oxbase") return ::FindWindowA("oxmgrd", "Oxwatch-Daemon") != nullptr;
  for (const Row& row : rows) {
    if (row.service == service) return mutex_exists(row.mutex);
  }
  return false;
}

// The service manager knows nothing of a private system.
std::string mark_name(const char* service) { return object_name((std::string("OxService.") + service).c_str()); }

std::string quoted(const std::string& path) { return "\"" + path + "\""; }

Error start(const std::string& command) {
  STARTUPINFOA how{};
  how.cb = sizeof how;
  PROCESS_INFORMATION process{};
  std::string line(command);
  if (::CreateProcessA(nullptr, line.data(), nullptr, nullptr, FALSE, NORMAL_PRIORITY_CLASS, nullptr, nullptr, &how,
                       &process) == FALSE) {
    return fail_last();
  }
  const Handle thread(process.hThread);
  const Handle started(process.hProcess);
  (void)::WaitForInputIdle(started.get(), INFINITE);  // fails at once for a program without windows
  return error_none;
}

}  // namespace

Error service_running(const char* name, bool& running) {
  if (name == nullptr || *name == '\0') return fail(error_invalid_name);
  OsVersion version{};
  if (const Error error = os_version(version)) return error;
  if (!private_system().empty()) {
    running = mutex_exists(mark_name(name).c_str());
    return error_none;
  }
  if (version.family == VER_PLATFORM_WIN32_NT) return ask_service_manager(name, running);
  running = runs_as_program(name);
  return error_none;
}

struct ServiceMark::Impl {
  Handle mutex;
};

ServiceMark::ServiceMark() = default;
ServiceMark::ServiceMark(ServiceMark&&) noexcept = default;
ServiceMark& ServiceMark::operator=(ServiceMark&&) noexcept = default;
ServiceMark::~ServiceMark() = default;

Error ServiceMark::hold(const char* name) {
  if (name == nullptr || *name == '\0') return fail(error_invalid_name);
  if (private_system().empty()) return error_none;
  auto impl = std::make_unique<Impl>();
  impl->mutex = Handle(::CreateMutexA(nullptr, FALSE, mark_name(name).c_str()));
  if (!impl->mutex) return fail_last();
  if (::GetLastError() == ERROR_ALREADY_EXISTS) return fail(error_already_exists);
  impl_ = std::move(impl);
  return error_none;
}

struct KnownService::Impl {
  ServiceHandle service{nullptr};
  Handle mark;  // in a private system
};

KnownService::KnownService() = default;
KnownService::~KnownService() = default;

Error KnownService::open(const char* name) {
  if (name == nullptr || *name == '\0') return fail(error_invalid_name);
  auto impl = std::make_unique<Impl>();
  if (!private_system().empty()) {
    impl->mark = Handle(::OpenMutexA(SYNCHRONIZE, FALSE, mark_name(name).c_str()));
    if (!impl->mark) return fail(error_no_such_service);
  } else {
    const ServiceHandle manager(::OpenSCManagerA(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (manager.get() == nullptr) return fail_last();
    impl->service = ServiceHandle(::OpenServiceA(manager.get(), name, GENERIC_READ));
    if (impl->service.get() == nullptr) return fail_last();
  }
  impl_ = std::move(impl);
  return error_none;
}

std::uint32_t service_process(const char* /*name*/) { return 0; }

Error start_program(const char* program) {
  if (program == nullptr || *program == '\0') return fail(error_invalid_parameter);
  const Error error = start(quoted(own_directory() + program));
  const bool missing = error == error_file_not_found || error == error_path_not_found;
  return missing ? start(quoted(program)) : error;  // where the system looks for programs
}

}  // namespace ox::platform
