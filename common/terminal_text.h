// An installation's texts as they leave a program: for the terminal behind a stream, and for the system's log.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace ox {

// With "?" for what the terminal lacks; unchanged where the two code pages are one. Throws std::bad_alloc.
[[nodiscard]] std::string terminal_text(std::FILE* out, std::string_view text);
// Prints it so; as it is where memory runs out.
void print(std::FILE* out, std::string_view text) noexcept;

// In the code page of this machine's texts; what that lacks stays as it is. Throws std::bad_alloc.
[[nodiscard]] std::string system_text(std::string_view text);

}  // namespace ox
