#include <windows.h>
// Types of the system come first.
#include <winternl.h>

#include <algorithm>
#include <stdexcept>

#include "tests/road/daemon.h"

namespace ox::test {

// From the system's table of all handles: Wine does not count a single process's.
std::vector<std::ptrdiff_t> held_by_this_and(int pid) {
  std::vector<char> bytes(0x10000);
  while (::NtQuerySystemInformation(SystemHandleInformation, bytes.data(), static_cast<ULONG>(bytes.size()), nullptr) !=
         0) {
    if (bytes.size() > 0x4000000) throw std::runtime_error("no table of handles");
    bytes.resize(2 * bytes.size());
  }
  const auto& table = *reinterpret_cast<const SYSTEM_HANDLE_INFORMATION*>(bytes.data());
  const auto handles = [&](DWORD process) {  // the upper half of a row's number is another one
    return std::count_if(table.Handle, table.Handle + table.Count, [&](const SYSTEM_HANDLE_ENTRY& row) {
      return static_cast<USHORT>(row.OwnerPid) == static_cast<USHORT>(process);
    });
  };
  const std::ptrdiff_t own = handles(::GetCurrentProcessId());
  if (own == 0) throw std::runtime_error("handles are not counted");
  return {own, handles(static_cast<DWORD>(pid))};
}

}  // namespace ox::test
