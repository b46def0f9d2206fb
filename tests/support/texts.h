// Texts that tests are made of.
#pragma once

#include "tests/support/test.h"

namespace ox::test {

// "a||b" is three texts, the second one empty.
[[nodiscard]] inline std::vector<std::string> split(std::string_view texts, char separator = '|') {
  std::vector<std::string> result(1);
  for (const char c : texts) {
    if (c == separator) {
      result.emplace_back();
    } else {
      result.back() += c;
    }
  }
  return result;
}

[[nodiscard]] inline std::string repeated(std::string_view text, int count) {
  std::string result;
  while (count-- > 0) result += text;
  return result;
}

[[nodiscard]] inline int count_of(std::string_view text, std::string_view part) {
  int count = 0;
  for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + part.size())) ++count;
  return count;
}

// All of these must stand somewhere in it.
inline void expect_parts(const std::string& text, const std::vector<std::string>& parts) {
  for (const std::string& part : parts) EXPECT_NE(text.npos, text.find(part)) << part << " in:\n" << text;
}

}  // namespace ox::test
