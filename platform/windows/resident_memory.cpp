#include "platform/server/resident_memory.h"

#include <windows.h>
// Types of the system come first.
#include <psapi.h>

namespace ox::platform {

std::uint64_t resident_memory() noexcept {
  PROCESS_MEMORY_COUNTERS counters{};
  if (::K32GetProcessMemoryInfo(::GetCurrentProcess(), &counters, sizeof counters) == FALSE) return 0;
  return counters.WorkingSetSize;
}

// The heap gives back what is large by itself.
void give_memory_back() noexcept { (void)::HeapCompact(::GetProcessHeap(), 0); }

}  // namespace ox::platform
