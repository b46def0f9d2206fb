// Japanese character codes.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ox::platform {

// Text in code page 932 to the narrow encoding of the process (its ANSI code page on Windows, the locale's on Linux;
// the same bytes where that is code page 932 itself). A byte that cannot be converted becomes "?". ASCII passes.
[[nodiscard]] std::string from_cp932(std::string_view text);

}  // namespace ox::platform
