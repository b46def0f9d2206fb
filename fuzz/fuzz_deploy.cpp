// Brace expansion: the first byte is the capacity. A pattern without braces and commas is its own only result.
#include <array>
#include <cstring>

#include <oxbase/oxc.h>

#include "fuzz/amib_tree.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using ox::fuzz::expect;
  if (size < 1) return 0;
  const std::uint32_t capacity = data[0];
  const std::string pattern(reinterpret_cast<const char*>(data + 1), size - 1);
  std::array<char*, 255> results;
  std::uint32_t count = 77;
  const OX_RESULT result = oxbDeploy(pattern.c_str(), &count, results.data(), capacity);
  expect(result == OX_OK ? count >= 1 && count <= capacity : count == 0);
  for (std::uint32_t i = 0; i < count; ++i) {
    expect(std::strlen(results[i]) < 4096 && std::strpbrk(results[i], "{},") == nullptr);
    if (std::strpbrk(pattern.c_str(), "{},") == nullptr)
      expect(count == 1 && results[i] == std::string(pattern.c_str()));
    (void)oxcMemFree(results[i]);
  }
  expect(oxcGetMemValue(1) == 0);
  return 0;
}
