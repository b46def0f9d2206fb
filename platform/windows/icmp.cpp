#include "platform/windows/icmp.h"

#include <winsock2.h>
// Types of the system come first.
#include <ipexport.h>

#include <cstdio>
#include <cstring>
#include <utility>

#include "platform/icmp_echo.h"
#include "platform/windows/fail.h"

namespace ox::platform {
namespace {

// From the system's folder alone: one that lies beside the program, or where it works, may be anybody's.
HMODULE load(const char* name) noexcept {
  char path[MAX_PATH + 16];
  const UINT size = ::GetSystemDirectoryA(path, MAX_PATH);
  if (size == 0 || size >= MAX_PATH) return nullptr;
  (void)std::snprintf(path + size, sizeof path - size, "\\%s", name);
  return ::LoadLibraryA(path);
}

struct Icmp {
  HMODULE library = nullptr;
  HANDLE(WINAPI* create_file)() = nullptr;
  DWORD(WINAPI* send_echo)(HANDLE, IPAddr, void*, WORD, void*, void*, DWORD, DWORD) = nullptr;
  BOOL(WINAPI* close_handle)(HANDLE) = nullptr;

  [[nodiscard]] bool bind(const char* name) noexcept {
    library = load(name);
    if (library == nullptr) return false;
    find("IcmpCreateFile", create_file);
    find("IcmpSendEcho", send_echo);
    find("IcmpCloseHandle", close_handle);
    if (create_file != nullptr && send_echo != nullptr && close_handle != nullptr) return true;
    release();
    return false;
  }
  template <class Function>
  void find(const char* name, Function& function) const noexcept {
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(library, name)));
  }
  void release() noexcept {
    if (library != nullptr) (void)::FreeLibrary(library);
    *this = Icmp();
  }
};

Icmp icmp;

bool is_no_answer(ULONG status) noexcept {
  return status == IP_REQ_TIMED_OUT || (status >= IP_DEST_NET_UNREACHABLE && status <= IP_DEST_PORT_UNREACHABLE) ||
         status == IP_TTL_EXPIRED_TRANSIT;
}

}  // namespace

bool attach_icmp() noexcept { return icmp.bind("icmp.dll") || icmp.bind("iphlpapi.dll"); }
void detach_icmp() noexcept { icmp.release(); }

Error icmp_echo(const std::array<unsigned char, 4>& address, std::uint32_t milliseconds,
                std::uint32_t& microseconds) noexcept {
  if (icmp.library == nullptr) return fail(error_not_supported);
  const HANDLE file = icmp.create_file();
  if (file == INVALID_HANDLE_VALUE) return fail_last();
  IPAddr to = 0;
  std::memcpy(&to, address.data(), sizeof to);
  unsigned char mark[8] = {};
  alignas(ICMP_ECHO_REPLY) unsigned char room[sizeof(ICMP_ECHO_REPLY) + sizeof mark + 8 + 64] = {};
  const DWORD answers = icmp.send_echo(file, to, mark, sizeof mark, nullptr, room, sizeof room, milliseconds);
  const DWORD why = ::GetLastError();
  (void)icmp.close_handle(file);
  const auto& answer = *reinterpret_cast<const ICMP_ECHO_REPLY*>(room);
  const ULONG status = answers != 0 ? answer.Status : why;
  if (is_no_answer(status)) return fail(error_timeout);
  if (status != IP_SUCCESS) return fail(status);
  microseconds = 1000 * answer.RoundTripTime;
  return error_none;
}

}  // namespace ox::platform
