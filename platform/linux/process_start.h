// When processes have started, in a number that no other process of the same id ever has.
#pragma once

#include <cstdint>

namespace ox::platform {

[[nodiscard]] std::uint64_t start_of_process(std::uint32_t id) noexcept;  // 0: there is none

}  // namespace ox::platform
