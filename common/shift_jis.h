// Double-byte characters of code page 932 (Shift_JIS), which hold bytes that look like "\\", quotes and letters.
#pragma once

namespace ox {

[[nodiscard]] constexpr bool is_lead_byte(char byte) noexcept {
  const auto value = static_cast<unsigned char>(byte);
  return (value >= 0x81 && value <= 0x9F) || (value >= 0xE0 && value <= 0xFC);
}

// Bytes of the character that begins there, in a text that is not at its end. A lead byte takes whatever follows it
// except the terminator.
[[nodiscard]] constexpr unsigned character_size(const char* text) noexcept {
  return is_lead_byte(text[0]) && text[1] != '\0' ? 2 : 1;
}

}  // namespace ox
