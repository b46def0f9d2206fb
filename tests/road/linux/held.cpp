#include <algorithm>
#include <filesystem>

#include "platform/linux/places.h"
#include "tests/road/daemon.h"

namespace fs = std::filesystem;

namespace ox::test {

std::vector<std::ptrdiff_t> held_by_this_and(int pid) {
  const auto entries = [](const fs::path& folder, const std::string& prefix) {
    return std::count_if(fs::directory_iterator(folder), fs::directory_iterator(), [&](const fs::directory_entry& e) {
      return e.path().filename().string().starts_with(prefix);
    });
  };
  return {entries("/proc/self/fd", ""), entries("/proc/" + std::to_string(pid) + "/fd", ""),
          entries(platform::own_folder(*platform::root(), true), "")};
}

}  // namespace ox::test
