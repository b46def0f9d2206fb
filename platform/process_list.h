// The processes of the machine.
#pragma once

#include <cstdint>
#include <vector>

namespace ox::platform {

// Ids of the living processes, ascending.
[[nodiscard]] std::vector<std::uint32_t> process_ids();

}  // namespace ox::platform
