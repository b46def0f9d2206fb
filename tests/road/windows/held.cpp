#include <windows.h>
// Types of the system come first.
#include <winternl.h>

#include <algorithm>
#include <stdexcept>

#include "tests/road/daemon.h"

namespace ox::test {
namespace {

// The system's table of all handles. Wine does not count a single process's.
constexpr auto handle_table = static_cast<SYSTEM_INFORMATION_CLASS>(16);
struct Row {
  USHORT process;
  USHORT trace;
  UCHAR type;
  UCHAR flags;
  USHORT value;
  void* object;
  ULONG access;
};
struct Table {
  ULONG count;
  Row rows[1];
};

std::vector<char> all_handles() {
  using Query = NTSTATUS(NTAPI*)(SYSTEM_INFORMATION_CLASS, void*, ULONG, ULONG*);
  const auto query = reinterpret_cast<Query>(
      reinterpret_cast<void*>(::GetProcAddress(::GetModuleHandleA("ntdll"), "NtQuerySystemInformation")));
  for (std::size_t size = 0x10000; size < 0x4000000; size *= 2) {
    std::vector<char> table(size);
    if (query(handle_table, table.data(), static_cast<ULONG>(size), nullptr) == 0) return table;
  }
  throw std::runtime_error("no table of handles");
}

}  // namespace

std::vector<std::ptrdiff_t> held_by_this_and(int pid) {
  const std::vector<char> bytes = all_handles();
  const auto& table = *reinterpret_cast<const Table*>(bytes.data());
  const auto handles = [&](DWORD process) {
    return std::count_if(table.rows, table.rows + table.count,
                         [&](const Row& row) { return row.process == static_cast<USHORT>(process); });
  };
  const std::ptrdiff_t own = handles(::GetCurrentProcessId());
  if (own == 0) throw std::runtime_error("handles are not counted");
  return {own, handles(static_cast<DWORD>(pid))};
}

}  // namespace ox::test
