// Files that a process writes into folders where others may put theirs.
#pragma once

#include <cstdio>

#include "platform/error.h"

namespace ox::platform {

// Makes a text file, or empties this account's own: never through a link, nor one that has a second name or is no file
// at all, since another account would choose what is lost then, and who reads what is written. (On Windows the folder's
// rights say all that.) Null and last_error().
[[nodiscard]] std::FILE* open_own_file(const char* path) noexcept;

}  // namespace ox::platform
