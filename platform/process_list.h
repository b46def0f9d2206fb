// The processes of the machine.
#pragma once

#include <cstdint>
#include <vector>

namespace ox::platform {

// Ids of the living processes, ascending.
[[nodiscard]] std::vector<std::uint32_t> process_ids();

// When a process has started, in a number that no other process of the same id ever has. 0: there is none.
[[nodiscard]] std::uint64_t start_of_process(std::uint32_t id) noexcept;

}  // namespace ox::platform
