#include "platform/process_list.h"

#include <dirent.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <memory>

namespace ox::platform {

std::vector<std::uint32_t> process_ids() {
  std::vector<std::uint32_t> ids;
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir("/proc"), ::closedir);
  if (directory == nullptr) return ids;
  while (const dirent* entry = ::readdir(directory.get())) {
    const char* end = entry->d_name + std::strlen(entry->d_name);
    std::uint32_t id = 0;
    const auto [rest, error] = std::from_chars(entry->d_name, end, id);
    if (error == std::errc() && rest == end) ids.push_back(id);
  }
  std::sort(ids.begin(), ids.end());
  return ids;
}

}  // namespace ox::platform
