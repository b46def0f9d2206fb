// The allocator's state, as its reports see it.
#pragma once

#include <cstdint>

#include "common/block_index.h"

namespace ox::memory {

[[nodiscard]] const Record* live_blocks() noexcept;  // in allocation order
void detach() noexcept;                              // gives the tracking memory back

}  // namespace ox::memory
