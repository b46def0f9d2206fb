// Texts of numbers. Base 2 to 36, or 0: decimal, "0x" hexadecimal, leading "0" octal (so "08" is malformed). Base 16
// takes the "0x" too. A malformed text is OX_EFORMAT even where its beginning is out of range.
#pragma once

#include <cstdint>

#include <oxbase/oxtypes.h>

namespace ox {

// Digits, and one "U" or "u" after them. OX_EFORMAT; OX_ERANGE above `maximum`; OX_EARG for another base.
[[nodiscard]] OX_RESULT parse_unsigned(const char* text, std::uint32_t base, std::uint64_t maximum,
                                       std::uint64_t& value) noexcept;
// A sign or none, and digits.
[[nodiscard]] OX_RESULT parse_signed(const char* text, std::uint32_t base, std::int32_t& value) noexcept;

}  // namespace ox
