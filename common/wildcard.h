// Wildcard patterns.
#pragma once

namespace ox {

// Whether the whole text matches: "*" stands for any run of characters, "?" for one character, single or double-byte.
// No memory; time at most length of text times length of pattern.
[[nodiscard]] bool wildcard_match(const char* pattern, const char* text) noexcept;

}  // namespace ox
