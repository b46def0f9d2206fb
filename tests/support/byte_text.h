// Bytes as people read them: hexadecimal pairs and quoted texts, blanks between them.
#pragma once

#include <cstdlib>
#include <string>
#include <string_view>

namespace ox::test {

// bytes("0004 'abc' 00") is six bytes. Aborts on anything else: the mistake is in the test.
[[nodiscard]] inline std::string bytes(std::string_view text) {
  const auto digit = [](char c) -> int {
    const std::string_view digits = "0123456789abcdef";
    const std::size_t at = digits.find(c >= 'A' && c <= 'F' ? static_cast<char>(c - 'A' + 'a') : c);
    if (at == std::string_view::npos) std::abort();
    return static_cast<int>(at);
  };
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    if (text[at] == ' ') {
      ++at;
    } else if (text[at] == '\'') {
      const std::size_t end = text.find('\'', at + 1);
      if (end == std::string_view::npos) std::abort();
      result += text.substr(at + 1, end - at - 1);
      at = end + 1;
    } else {
      if (at + 1 == text.size()) std::abort();
      result += static_cast<char>(digit(text[at]) * 16 + digit(text[at + 1]));
      at += 2;
    }
  }
  return result;
}

}  // namespace ox::test
