// Loads definition files into the selected tree.
#pragma once

#include <oxbase/oxtypes.h>

namespace ox::amib {

OX_RESULT add_file(const char* path);

// Whether a failure of add_file is the file's own fault, so that another order of the files may help.
[[nodiscard]] bool is_file_fault(OX_RESULT result) noexcept;

}  // namespace ox::amib
