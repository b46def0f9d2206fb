#include "platform/heap.h"

#include <malloc.h>

#include <cstdlib>

namespace ox::platform {

void* heap_allocate(std::size_t size) noexcept { return std::malloc(size); }
void* heap_allocate_zeroed(std::size_t size) noexcept { return std::calloc(1, size); }
std::size_t heap_size(void* block) noexcept { return malloc_usable_size(block); }
void heap_free(void* block) noexcept { std::free(block); }

}  // namespace ox::platform
