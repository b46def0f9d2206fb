#include "platform/process_list.h"

#include <windows.h>
// Types of the system come first.
#include <tlhelp32.h>

#include <algorithm>

#include "platform/windows/handle.h"

namespace ox::platform {

std::vector<std::uint32_t> process_ids() {
  std::vector<std::uint32_t> ids;
  const Handle snapshot(::CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
  PROCESSENTRY32 entry{};
  entry.dwSize = sizeof entry;
  if (!snapshot || ::Process32First(snapshot.get(), &entry) == FALSE) return ids;
  do {
    if (entry.th32ProcessID != 0) ids.push_back(entry.th32ProcessID);  // 0: the idle time
  } while (::Process32Next(snapshot.get(), &entry) != FALSE);
  std::sort(ids.begin(), ids.end());
  return ids;
}

std::uint64_t start_of_process(std::uint32_t id) noexcept {
  const Handle process(::OpenProcess(PROCESS_QUERY_INFORMATION, FALSE, id));
  FILETIME start{}, end{}, kernel{}, user{};
  if (!process || ::GetProcessTimes(process.get(), &start, &end, &kernel, &user) == FALSE) return 0;
  return std::uint64_t{start.dwHighDateTime} << 32 | start.dwLowDateTime;
}

}  // namespace ox::platform
