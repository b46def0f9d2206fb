// Files that a process writes into folders where others may put theirs.
#pragma once

#include <cstdio>
#include <string_view>

#include "platform/error.h"

namespace ox::platform {

// Makes a text file, or empties this account's own: never through a link, nor one that has a second name or is no file
// at all, since another account would choose what is lost then, and who reads what is written. (On Windows the folder's
// rights say all that.) Null and last_error().
[[nodiscard]] std::FILE* open_own_file(const char* path) noexcept;

// Writes a text at once, in one call of the system where that takes it whole; the stream has no buffer. How many of its
// bytes are written.
[[nodiscard]] std::size_t write_own_file(std::FILE* file, std::string_view text) noexcept;

}  // namespace ox::platform
