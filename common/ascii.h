// Characters without regard to the locale of the process: file names and keywords must mean the same everywhere.
#pragma once

#include <algorithm>
#include <string_view>

namespace ox {

[[nodiscard]] constexpr bool is_digit(char c) noexcept { return c >= '0' && c <= '9'; }
[[nodiscard]] constexpr bool is_letter(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
[[nodiscard]] constexpr char lower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

// The value of a hexadecimal or higher digit of either case; 36 for any other character.
[[nodiscard]] constexpr unsigned digit_value(char c) noexcept {
  if (is_digit(c)) return static_cast<unsigned>(c - '0');
  return is_letter(c) ? static_cast<unsigned>(lower(c) - 'a') + 10 : 36;
}

// For keywords: one of the two texts is ASCII.
[[nodiscard]] constexpr bool equal_no_case(std::string_view a, std::string_view b) noexcept {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace ox
