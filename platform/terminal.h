// What a program's streams are connected to, for those that draw, ask, or tell how far they are.
#pragma once

#include <cstdint>

namespace ox::platform {

enum class Stream : std::uint8_t { input, output, errors };

[[nodiscard]] bool is_terminal(Stream stream) noexcept;

// Width of the terminal behind the stream in characters; 0 when there is none, or none that says.
[[nodiscard]] int terminal_columns(Stream stream) noexcept;

// Whether UTF-8 is what readers of the standard output expect.
[[nodiscard]] bool output_takes_utf8() noexcept;

// From now on the standard output has the bytes that are written, line ends unchanged.
void keep_output_bytes() noexcept;

}  // namespace ox::platform
