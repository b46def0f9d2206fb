// The operating system's heap under the tracked allocator. No locks beyond the heap's own; any thread.
#pragma once

#include <cstddef>

namespace ox::platform {

// Null when memory runs out.
[[nodiscard]] void* heap_allocate(std::size_t size) noexcept;
[[nodiscard]] void* heap_allocate_zeroed(std::size_t size) noexcept;
// Bytes that the block really has, at least those asked for.
[[nodiscard]] std::size_t heap_size(void* block) noexcept;
void heap_free(void* block) noexcept;
// Of a block that has room for no more than was asked for: so many bytes, rounded as the heap does.
void heap_free(void* block, std::size_t size) noexcept;

}  // namespace ox::platform
