// Code pages, by their Windows numbers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ox::platform {

inline constexpr std::uint32_t shift_jis = 932;
inline constexpr std::uint32_t utf8 = 65001;

// That of texts on this machine: Windows' ANSI code page; UTF-8 on Linux.
[[nodiscard]] std::uint32_t system_code_page() noexcept;

// What the process's surroundings show and type: Windows' ANSI code page, the character set of the user's locale on
// Linux. 0 stands for a character set without a number; a Converter knows it.
[[nodiscard]] std::uint32_t own_code_page() noexcept;

// Whether a byte begins a double-byte character in a code page of Windows that is neither of the two above.
[[nodiscard]] bool is_lead_byte(std::uint32_t page, unsigned char byte) noexcept;

// Texts of one code page as those of another; 0 is the surroundings' own.
class Converter {
 public:
  Converter(std::uint32_t from, std::uint32_t to) noexcept;
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;
  ~Converter();

  // Appends the whole text, or nothing: false when there is a byte of no character, or a character that the other code
  // page lacks. Throws std::bad_alloc.
  [[nodiscard]] bool convert(std::string_view text, std::string& to) const;

 private:
  std::uint32_t from_;
  std::uint32_t to_;
  void* handle_ = nullptr;  // the platform's, where it has one
};

}  // namespace ox::platform
