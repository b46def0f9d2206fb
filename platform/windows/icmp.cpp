#include "platform/windows/icmp.h"

#include <windows.h>

#include <cstdio>
#include <utility>

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
  FARPROC create_file = nullptr;
  FARPROC send_echo = nullptr;
  FARPROC close_handle = nullptr;

  [[nodiscard]] bool bind(const char* name) noexcept {
    library = load(name);
    if (library == nullptr) return false;
    create_file = ::GetProcAddress(library, "IcmpCreateFile");
    send_echo = ::GetProcAddress(library, "IcmpSendEcho");
    close_handle = ::GetProcAddress(library, "IcmpCloseHandle");
    if (create_file != nullptr && send_echo != nullptr && close_handle != nullptr) return true;
    release();
    return false;
  }
  void release() noexcept {
    if (library != nullptr) (void)::FreeLibrary(library);
    *this = Icmp();
  }
};

Icmp icmp;

}  // namespace

bool attach_icmp() noexcept { return icmp.bind("icmp.dll") || icmp.bind("iphlpapi.dll"); }
void detach_icmp() noexcept { icmp.release(); }

}  // namespace ox::platform
