// The installation's code page: that of every text which its processes store, compare, cut and hand out.
#pragma once

#include <string>
#include <string_view>

#include "common/code_page.h"

namespace ox {

// The setting "CodePage", 932 or 65001; else that of the system. Read once per process, without a lock from then on.
[[nodiscard]] const CodePage& installed_page() noexcept;

// That of paths. Where texts are UTF-8 it is the system's, in which Windows takes them.
[[nodiscard]] const CodePage& path_page() noexcept;

// A text that the library composes, which it has in code page 932, as the installation has it. What the installation's
// code page lacks stays. Throws std::bad_alloc.
[[nodiscard]] std::string composed(std::string_view japanese);

}  // namespace ox
