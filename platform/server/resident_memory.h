// What of this process is in memory.
#pragma once

#include <cstdint>

namespace ox::platform {

// Bytes; 0 when the system does not tell.
[[nodiscard]] std::uint64_t resident_memory() noexcept;

// Gives the system back what this process has freed and does not use, where it would be kept else. Takes a while when
// it is much.
void give_memory_back() noexcept;

}  // namespace ox::platform
