// Why a value that was due is not there.
#pragma once

#include <cstdint>
#include <string>

namespace tool {

// The reason in the status word of a cell without a value.
[[nodiscard]] std::string gap_reason(std::uint32_t status);

}  // namespace tool
