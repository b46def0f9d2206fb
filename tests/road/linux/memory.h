// What a process has in memory.
#pragma once

#include <cstddef>
#include <fstream>
#include <string>

namespace ox::test {

// Bytes of a process by a field of its status: "VmRSS", those that are resident, or "VmHWM", the most that have been
// since forget_peak().
[[nodiscard]] inline std::size_t memory_of(int pid, const std::string& field) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(field + ':')) return std::stoul(line.substr(field.size() + 1)) << 10;
  }
  return 0;
}
inline void forget_peak(int pid) { std::ofstream("/proc/" + std::to_string(pid) + "/clear_refs") << '5'; }

}  // namespace ox::test
