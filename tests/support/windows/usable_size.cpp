#include "tests/support/usable_size.h"

#include <malloc.h>

namespace ox::test {

std::size_t usable_size(void* block) noexcept { return ::_msize(block); }

}  // namespace ox::test
