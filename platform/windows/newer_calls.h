// What stands in for calls that Windows XP lacks.
#pragma once

#include <cstdint>

namespace ox::platform {

// Milliseconds since the start: those of the last call, gone on by a counter of 32 bits that wraps.
[[nodiscard]] std::uint64_t ticks_after(std::uint64_t last, std::uint32_t counter) noexcept;

}  // namespace ox::platform
