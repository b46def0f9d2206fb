// Characters of a code page: how long they are, where a text may be cut, what is the same without regard to case. Every
// code page that is met has ASCII in single bytes; second bytes of others may look like "\", quotes and letters.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/codepage.h"

namespace ox {

class CodePage {
 public:
  // 932, 65001, or another one that Windows knows. Of a number that nobody knows, every byte is a character.
  explicit CodePage(std::uint32_t number) noexcept;

  [[nodiscard]] std::uint32_t number() const noexcept { return number_; }

  // Bytes of the character that begins there, in a text that is not at its end. In 932 and its like a lead byte takes
  // whatever follows it except the terminator; in UTF-8 a byte of no well-formed character stands alone.
  [[nodiscard]] unsigned size(const char* text) const noexcept {
    return static_cast<unsigned char>(*text) < 0x80 ? 1 : long_size(text, SIZE_MAX);
  }
  [[nodiscard]] unsigned size(std::string_view text) const noexcept {
    return static_cast<unsigned char>(text[0]) < 0x80 ? 1 : long_size(text.data(), text.size());
  }

  // How much of a text fits into so many bytes: whole characters.
  [[nodiscard]] std::size_t fitting(std::string_view text, std::size_t room) const noexcept;

  // Where the first character begins that is whole for certain, in a text that was cut off in front.
  [[nodiscard]] std::size_t first_whole(std::string_view rest) const noexcept;

  // Ordered as bytes, after ASCII letters have been folded: below, at or above 0.
  [[nodiscard]] int compare_no_case(std::string_view a, std::string_view b) const noexcept;

  // Where the next separator of either platform stands, from the beginning of a character on; npos without one.
  [[nodiscard]] std::size_t find_separator(std::string_view path, std::size_t from = 0) const noexcept;
  // Where the path's last name begins.
  [[nodiscard]] std::size_t last_name(std::string_view path) const noexcept;

 private:
  [[nodiscard]] unsigned long_size(const char* text, std::size_t left) const noexcept;

  std::uint32_t number_;
  std::array<bool, 128> lead_{};  // of the bytes from 0x80 on
};

[[nodiscard]] bool is_ascii(std::string_view text) noexcept;

// What becomes of a byte that is no character, or of a character that the other code page lacks.
enum class Unknown : std::uint8_t { becomes_question_mark, stays };
// A text of one code page in another. ASCII stays as it is. Throws std::bad_alloc.
[[nodiscard]] std::string converted(std::string_view text, const CodePage& from, std::uint32_t to, Unknown unknown);

}  // namespace ox
