// The allocator's state, as its reports see it.
#pragma once

#include <vector>

#include "common/block_index.h"

namespace ox::memory {

[[nodiscard]] std::vector<Record> live_blocks();  // in allocation order; throws std::bad_alloc
void detach() noexcept;                           // gives the tracking memory back

}  // namespace ox::memory
