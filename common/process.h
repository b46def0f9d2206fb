// Programs that the library starts for applications.
#pragma once

#include <memory>

#include <oxbase/oxc.h>

#include "platform/started_program.h"

struct oxcProcess {
  ox::platform::Program program;
};

namespace ox {

using process_ptr = std::unique_ptr<oxcProcess>;

// As oxcCreateProcess, with the platform's error; one of its own for a line that cannot be taken apart.
[[nodiscard]] platform::Error start_process(const char* program, const char* line, const char* output,
                                            process_ptr& process);

}  // namespace ox
