#include "platform/daemon_service.h"

#include <windows.h>

#include <atomic>
#include <csignal>
#include <string>

#include "platform/windows/fail.h"

namespace ox::platform {
namespace {

// Of the service that this process is.
std::atomic<SERVICE_STATUS_HANDLE> told{nullptr};
int (*service_daemon)() = nullptr;
int service_result = 0;
const char* service = nullptr;

void tell(DWORD state, DWORD code = NO_ERROR) noexcept {
  const SERVICE_STATUS_HANDLE to = told.load();
  if (to == nullptr) return;
  constexpr DWORD patience = 300'000;  // milliseconds, for a start that repairs and an end that finishes its work
  const bool changes = state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING;
  SERVICE_STATUS status{};
  status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
  status.dwCurrentState = state;
  status.dwControlsAccepted = state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN : 0;
  status.dwWin32ExitCode = code;
  status.dwWaitHint = changes ? patience : 0;
  (void)::SetServiceStatus(to, &status);
}

DWORD WINAPI on_control(DWORD control, DWORD, void*, void*) {
  if (control == SERVICE_CONTROL_INTERROGATE) return NO_ERROR;
  if (control != SERVICE_CONTROL_STOP && control != SERVICE_CONTROL_SHUTDOWN) return ERROR_CALL_NOT_IMPLEMENTED;
  tell(SERVICE_STOP_PENDING);
  (void)std::raise(SIGTERM);
  return NO_ERROR;
}

void WINAPI service_main(DWORD, char**) {
  told = ::RegisterServiceCtrlHandlerExA(service, on_control, nullptr);
  tell(SERVICE_START_PENDING);
  service_result = service_daemon();
  tell(SERVICE_STOPPED, service_result == 0 ? NO_ERROR : ERROR_SERVICE_SPECIFIC_ERROR);
}

class Services {
 public:
  explicit Services(DWORD rights) noexcept : manager_(::OpenSCManagerA(nullptr, nullptr, rights)) {}
  Services(const Services&) = delete;
  Services& operator=(const Services&) = delete;
  ~Services() {
    if (service_ != nullptr) (void)::CloseServiceHandle(service_);
    if (manager_ != nullptr) (void)::CloseServiceHandle(manager_);
  }
  [[nodiscard]] SC_HANDLE manager() const noexcept { return manager_; }
  [[nodiscard]] bool open(const char* name, DWORD rights) noexcept {
    service_ = manager_ != nullptr ? ::OpenServiceA(manager_, name, rights) : nullptr;
    return service_ != nullptr;
  }
  [[nodiscard]] bool create(const ServiceEntry& entry, const std::string& line) noexcept {
    service_ = ::CreateServiceA(manager_, entry.name, entry.title, SERVICE_ALL_ACCESS, SERVICE_WIN32_OWN_PROCESS,
                                SERVICE_AUTO_START, SERVICE_ERROR_NORMAL, line.c_str(), nullptr, nullptr, nullptr,
                                nullptr, nullptr);
    return service_ != nullptr;
  }
  [[nodiscard]] bool change(const ServiceEntry& entry, const std::string& line) const noexcept {
    return ::ChangeServiceConfigA(service_, SERVICE_NO_CHANGE, SERVICE_AUTO_START, SERVICE_NO_CHANGE, line.c_str(),
                                  nullptr, nullptr, nullptr, nullptr, nullptr, entry.title) != FALSE;
  }
  [[nodiscard]] bool remove() const noexcept { return ::DeleteService(service_) != FALSE; }

 private:
  SC_HANDLE manager_ = nullptr;
  SC_HANDLE service_ = nullptr;
};

std::string program_path() {
  char path[MAX_PATH];
  const DWORD size = ::GetModuleFileNameA(nullptr, path, sizeof path);
  return size < sizeof path ? std::string(path, size) : std::string();
}

std::string log_key(const ServiceEntry& entry) {
  return std::string("SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\") + entry.log_source;
}

// Where the event viewer finds the texts of what this program writes.
Error name_log_source(const ServiceEntry& entry, const std::string& program) {
  HKEY key = nullptr;
  LSTATUS result = ::RegCreateKeyExA(HKEY_LOCAL_MACHINE, log_key(entry).c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                                     &key, nullptr);
  if (result != ERROR_SUCCESS) return fail(static_cast<Error>(result));
  const DWORD types = EVENTLOG_ERROR_TYPE | EVENTLOG_WARNING_TYPE | EVENTLOG_INFORMATION_TYPE;
  result = ::RegSetValueExA(key, "EventMessageFile", 0, REG_SZ, reinterpret_cast<const BYTE*>(program.c_str()),
                            static_cast<DWORD>(program.size() + 1));
  if (result == ERROR_SUCCESS) {
    result = ::RegSetValueExA(key, "TypesSupported", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&types), sizeof types);
  }
  (void)::RegCloseKey(key);
  return result == ERROR_SUCCESS ? error_none : fail(static_cast<Error>(result));
}

}  // namespace

void tell_state(DaemonState state) noexcept {
  if (state == DaemonState::ready) tell(SERVICE_RUNNING);
  if (state == DaemonState::stopping) tell(SERVICE_STOP_PENDING);
}

std::chrono::milliseconds alive_interval() noexcept { return {}; }

Error install_service(const ServiceEntry& entry) {
  const std::string program = program_path();
  const std::string line = '"' + program + "\" " + entry.option;  // quoted: a folder may have blanks
  Services services(SC_MANAGER_CREATE_SERVICE | SC_MANAGER_CONNECT);
  if (services.manager() == nullptr) return fail_last();
  const bool there = services.create(entry, line) ||
                     (::GetLastError() == ERROR_SERVICE_EXISTS && services.open(entry.name, SERVICE_CHANGE_CONFIG) &&
                      services.change(entry, line));
  return there ? name_log_source(entry, program) : fail_last();
}

Error remove_service(const ServiceEntry& entry) {
  Services services(SC_MANAGER_CONNECT);
  if (!services.open(entry.name, DELETE) || !services.remove()) return fail_last();
  const LSTATUS result = ::RegDeleteKeyA(HKEY_LOCAL_MACHINE, log_key(entry).c_str());
  return result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND ? error_none : fail(static_cast<Error>(result));
}

Error run_service(const char* name, int (*daemon)(), int& result) {
  service = name;
  service_daemon = daemon;
  std::string writable = name;
  const SERVICE_TABLE_ENTRYA services[] = {{writable.data(), service_main}, {nullptr, nullptr}};
  if (::StartServiceCtrlDispatcherA(services) == FALSE) return fail_last();
  result = service_result;
  return error_none;
}

}  // namespace ox::platform
