// Where the thread's last definition-file error stood.
#pragma once

#include <cstdint>

#include <oxbase/oxtypes.h>

namespace ox {

// A null file sets only the line; an empty one clears the file. File names are kept up to 1023 characters.
OX_RESULT oxfSetErrorFile(const char* file, std::uint32_t line);

}  // namespace ox
