// What the C runtime's heap tells about a block.
#pragma once

#include <cstddef>

namespace ox::test {

[[nodiscard]] std::size_t usable_size(void* block) noexcept;

}  // namespace ox::test
