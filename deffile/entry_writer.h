// Writing entries to the calling thread's definition file.
#pragma once

#include <oxbase/oxc.h>

namespace ox {

// Opens a definition file, denied to others, in place of the thread's current one. OX_EARG for a null path; OX_EOPEN.
[[nodiscard]] OX_RESULT open_for_writing(const char* path, const char* mode);

// Writes the keyword and its values, parted by tabs, and a line feed behind the last value; behind an entry without
// values there is none, so writers of such entries begin the next keyword with one. Nothing is quoted: a value with
// blanks reads back as several. OX_EARG without an open file; OX_EWRITE.
[[nodiscard]] OX_RESULT write_entry(const oxcConfigEntry& entry);

// Closes the file after everything is on the disk. OX_EARG without an open file; OX_EWRITE.
[[nodiscard]] OX_RESULT close_after_writing();

}  // namespace ox
