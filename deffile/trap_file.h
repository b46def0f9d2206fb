// Reading one trap definition file.
#pragma once

#include <cstdint>

#include <oxbase/oxc.h>

#include "deffile/trap_list.h"

namespace ox {

// Where the faults of a file go; nowhere without a function.
struct TrapFaults {
  oxcTrFault call = nullptr;
  void* argument = nullptr;
};

// Puts the definitions of a file into the list. OX_EOPEN; OX_ENOMEM, with those before in the list.
[[nodiscard]] OX_RESULT read_trap_file(const char* path, oxcTrConf& list, const TrapFaults& faults);

}  // namespace ox
