#include "platform/server/resident_memory.h"

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <cstdio>

#include "platform/linux/descriptor.h"

namespace ox::platform {

std::uint64_t resident_memory() noexcept {
  const Descriptor file(::open("/proc/self/statm", O_RDONLY | O_CLOEXEC));
  char text[128]{};
  unsigned long long pages = 0;
  if (!file || ::read(file.get(), text, sizeof text - 1) <= 0 || std::sscanf(text, "%*s %llu", &pages) != 1) return 0;
  return pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

void give_memory_back() noexcept { (void)::malloc_trim(0); }

}  // namespace ox::platform
