// Brace expansion: the first byte is the capacity. A pattern without braces and commas is its own only result.
#include <array>
#include <cstring>

#include <oxbase/oxb.h>

#include "fuzz/target.h"

void ox::fuzz::run(std::string_view input) {
  if (input.empty()) return;
  const auto capacity = static_cast<unsigned char>(input.front());
  const std::string pattern(input.substr(1));
  std::array<char*, 255> results;
  std::uint32_t count = 77;
  const OX_RESULT result = oxbDeploy(pattern.c_str(), &count, results.data(), capacity);
  expect(result == OX_OK ? count >= 1 && count <= capacity : count == 0);
  const bool plain = std::strpbrk(pattern.c_str(), "{},") == nullptr;
  for (std::uint32_t i = 0; i < count; ++i) {
    expect(std::strlen(results[i]) < 4096 && std::strpbrk(results[i], "{},") == nullptr);
    expect(!plain || (count == 1 && results[i] == std::string(pattern.c_str())));
    (void)oxcMemFree(results[i]);
  }
  expect(oxcGetMemValue(1) == 0);
}
