// What a program's streams are connected to, for those that draw, ask, or tell how far they are.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ox::platform {

enum class Stream : std::uint8_t { input, output, errors };

[[nodiscard]] bool is_terminal(Stream stream) noexcept;

// Width of the terminal behind the stream in characters; 0 when there is none, or none that says.
[[nodiscard]] int terminal_columns(Stream stream) noexcept;

// The code page of what the stream shows; 0 is the surroundings' own (platform/codepage.h).
[[nodiscard]] std::uint32_t terminal_code_page(Stream stream) noexcept;

// The arguments after the program's name, and their code page.
struct Arguments {
  std::vector<std::string> texts;
  std::uint32_t code_page = 0;
};
[[nodiscard]] Arguments program_arguments(int argc, char** argv);

// Whether UTF-8 is what readers of the standard output expect.
[[nodiscard]] bool output_takes_utf8() noexcept;

// From now on the standard output has the bytes that are written, line ends unchanged.
void keep_output_bytes() noexcept;

}  // namespace ox::platform
