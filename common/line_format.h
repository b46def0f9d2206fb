// Formatted lines of the trace. The C library takes each through a stream, character by character; nearly all of them
// are texts and numbers as they stand, which are put together here.
#pragma once

#include <cstdarg>
#include <cstddef>

#include <oxbase/oxtypes.h>

namespace ox {

// As std::vsnprintf, whose part everything is but %s, %.*s, %d, %u and %x, with or without "l", in a line that fits.
OX_PRINTF(3, 0) int format_line(char* line, std::size_t size, const char* format, std::va_list arguments) noexcept;

}  // namespace ox
