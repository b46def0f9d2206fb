#include "platform/environment.h"

#include <winsock2.h>
// After the sockets' header, which must come first.
#include <windows.h>

#include <cstdlib>
#include <ctime>
#include <new>
#include <vector>

#include "platform/windows/fail.h"
#include "platform/windows/private_system.h"
#include "platform/windows/security.h"

namespace ox::platform {
namespace {

// A text of the machine's own registry, whatever system the process works in; empty when absent.
std::string machine_text(const char* path, const char* name, std::size_t limit) {
  HKEY key = nullptr;
  if (::RegOpenKeyExA(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, &key) != ERROR_SUCCESS) return {};
  char value[256];
  DWORD type = REG_NONE;
  DWORD size = sizeof value - 1;
  const LONG code = ::RegQueryValueExA(key, name, nullptr, &type, reinterpret_cast<BYTE*>(value), &size);
  (void)::RegCloseKey(key);
  if (code != ERROR_SUCCESS || type != REG_SZ) return {};
  value[size] = '\0';
  return std::string(value).substr(0, limit);
}

Error find_membership(const char* group, bool& member) {
  std::vector<std::byte> sid;
  if (const Error error = account_sid(group, sid)) return error;
  BOOL is_member = FALSE;
  if (::CheckTokenMembership(nullptr, sid.data(), &is_member) == FALSE) return fail_last();
  member = is_member != FALSE;
  return error_none;
}

class Sockets {
 public:
  Sockets() noexcept {
    WSADATA about;
    started_ = ::WSAStartup(MAKEWORD(2, 2), &about) == 0;
  }
  Sockets(const Sockets&) = delete;
  Sockets& operator=(const Sockets&) = delete;
  ~Sockets() {
    if (started_) (void)::WSACleanup();
  }
  [[nodiscard]] explicit operator bool() const noexcept { return started_; }

 private:
  bool started_;
};

bool lists_ipv6() {
  const Sockets sockets;
  if (!sockets) return false;
  DWORD size = 0;
  (void)::WSAEnumProtocolsA(nullptr, nullptr, &size);
  std::vector<WSAPROTOCOL_INFOA> protocols(size / sizeof(WSAPROTOCOL_INFOA) + 1);
  size = static_cast<DWORD>(protocols.size() * sizeof(WSAPROTOCOL_INFOA));
  const int count = ::WSAEnumProtocolsA(nullptr, protocols.data(), &size);
  for (int i = 0; i < count; ++i) {
    if (protocols[static_cast<std::size_t>(i)].iAddressFamily == AF_INET6) return true;
  }
  return false;
}

}  // namespace

const char path_separator = '\\';
const bool language_is_per_process = false;

std::uint32_t process_id() noexcept { return ::GetCurrentProcessId(); }

Error os_version(OsVersion& version) noexcept {
  OSVERSIONINFOA found{};
  found.dwOSVersionInfoSize = sizeof found;
  if (::GetVersionExA(&found) == FALSE) return fail_last();
  version = {found.dwPlatformId, found.dwMajorVersion, found.dwMinorVersion};
  return error_none;
}

bool language_is_japanese() noexcept { return PRIMARYLANGID(::GetSystemDefaultLangID()) == LANG_JAPANESE; }

Error set_time_zone(const char* zone) noexcept {
  if (zone == nullptr) return fail(error_invalid_parameter);
  try {
    if (::_putenv((std::string("TZ=") + zone).c_str()) != 0) return fail(error_out_of_memory);
  } catch (const std::bad_alloc&) {
    return fail(error_out_of_memory);
  }
  ::_tzset();
  return error_none;
}

std::string computer_name() {
  OsVersion version{};
  const bool nt = os_version(version) == error_none && version.family == VER_PLATFORM_WIN32_NT;
  return machine_text(nt ? "SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ActiveComputerName"
                         : "SYSTEM\\CurrentControlSet\\Control\\ComputerName\\ComputerName",
                      "ComputerName", 64);
}

Error user_in_group(const char* group, bool& member) noexcept {
  if (group == nullptr) return fail(error_invalid_parameter);
  try {
    return find_membership(group, member);
  } catch (const std::bad_alloc&) {
    return fail(error_out_of_memory);
  }
}

bool is_64_bit_system() noexcept {
  try {
    const std::string architecture =
        machine_text("SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Environment", "PROCESSOR_ARCHITECTURE", 64);
    return architecture == "AMD64" || architecture == "IA64";
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool has_ipv6() noexcept {
  try {
    return lists_ipv6();
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void sleep_ms(std::uint32_t milliseconds) noexcept { ::Sleep(milliseconds); }

std::string system_root() { return private_system(); }

}  // namespace ox::platform
