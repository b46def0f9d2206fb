// Wildcard patterns.
#pragma once

#include "common/code_page.h"

namespace ox {

// Whether the whole text matches: "*" stands for any run of characters, "?" for one character, of however many
// bytes.
// No memory; time at most length of text times length of pattern.
[[nodiscard]] bool wildcard_match(const CodePage& page, const char* pattern, const char* text) noexcept;

}  // namespace ox
