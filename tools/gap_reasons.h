// Why a value that was due is not there.
#pragma once

#include <cstdint>
#include <string>

namespace tool {

// The reason in a cell's status word; empty for a value.
[[nodiscard]] std::string gap_reason(std::uint32_t status);

}  // namespace tool
