#include "tests/support/usable_size.h"

#include <malloc.h>

namespace ox::test {

std::size_t usable_size(void* block) noexcept { return ::malloc_usable_size(block); }

}  // namespace ox::test
