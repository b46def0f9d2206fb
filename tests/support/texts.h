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

}  // namespace ox::test
