// What of this process is in memory.
#pragma once

#include <cstdint>

namespace ox::platform {

// Bytes; 0 when the system does not tell.
[[nodiscard]] std::uint64_t resident_memory() noexcept;

}  // namespace ox::platform
