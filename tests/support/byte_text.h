// Bytes as people read them: hexadecimal pairs and quoted texts, blanks between them.
#pragma once

#include <charconv>
#include <cstdlib>
#include <string>
#include <string_view>

namespace ox::test {

// bytes("0004 'abc' 00") is six bytes. Aborts on anything else: the mistake is in the test.
[[nodiscard]] inline std::string bytes(std::string_view text) {
  std::string result;
  for (; !text.empty(); text.remove_prefix(1)) {
    if (text.front() == ' ') continue;
    if (text.front() == '\'') {
      const std::size_t end = text.find('\'', 1);
      if (end == std::string_view::npos) std::abort();
      result += text.substr(1, end - 1);
      text.remove_prefix(end);
    } else {
      unsigned char byte = 0;
      const char* const pair = text.data();
      if (text.size() < 2 || std::from_chars(pair, pair + 2, byte, 16).ptr != pair + 2) std::abort();
      result += static_cast<char>(byte);
      text.remove_prefix(1);
    }
  }
  return result;
}

}  // namespace ox::test
