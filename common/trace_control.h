// The control block through which a process's trace is switched: 16 bytes, shared, named after the process.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace ox::trace {

struct Control {
  std::atomic<std::uint32_t> mask{0};
  std::atomic<std::uint32_t> console{0};  // 1: lines go to the console
  std::atomic<std::uint32_t> file{0};     // 1: lines go to the trace file
  std::uint32_t reserved = 0;
};
static_assert(sizeof(Control) == 16);
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);

[[nodiscard]] std::string control_name(std::uint32_t process_id);

// Make and give up the process's own block.
void attach() noexcept;
void detach() noexcept;

}  // namespace ox::trace
