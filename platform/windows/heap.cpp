// The global heap, whose blocks know their size.
#include "platform/heap.h"

#include <windows.h>

namespace ox::platform {

void* heap_allocate(std::size_t size) noexcept { return ::GlobalAlloc(GMEM_FIXED, size); }
void* heap_allocate_zeroed(std::size_t size) noexcept { return ::GlobalAlloc(GMEM_FIXED | GMEM_ZEROINIT, size); }
std::size_t heap_size(void* block) noexcept { return ::GlobalSize(block); }
void heap_free(void* block) noexcept { (void)::GlobalFree(block); }
void heap_free(void* block, std::size_t) noexcept { heap_free(block); }

}  // namespace ox::platform
