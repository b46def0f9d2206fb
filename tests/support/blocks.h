// Blocks that the library hands out and is handed, and that none is left behind.
#pragma once

#include <memory>

#include <oxbase/oxc.h>

#include "tests/support/test.h"

namespace ox::test {

// Expects as many blocks at its end as at its beginning.
class SameBlocks {
 public:
  SameBlocks() = default;
  SameBlocks(const SameBlocks&) = delete;
  SameBlocks& operator=(const SameBlocks&) = delete;
  ~SameBlocks() { EXPECT_EQ(before_, oxcGetMemValue(1)) << "blocks"; }

 private:
  const uint32_t before_ = oxcGetMemValue(1);
};

// A block that the library may take over.
[[nodiscard]] inline void* block_of(std::string_view bytes) {
  void* block = oxcMemAlloc(static_cast<uint32_t>(bytes.size()), "test");
  bytes.copy(static_cast<char*>(block), bytes.size());
  return block;
}

// Releases the block that `call(&block, &length)` makes; its bytes go to `bytes` if given. A failure must make none.
template <class Call>
OX_RESULT take_block(Call call, std::string* bytes = nullptr) {
  void* block = &block;
  uint32_t length = 77;
  const OX_RESULT result = call(&block, &length);
  EXPECT_TRUE(result == OX_OK || (block == nullptr && length == 0));
  if (bytes != nullptr) bytes->assign(static_cast<const char*>(block), length);
  (void)oxcMemFree(block);
  return result;
}

// Hands the bytes to `call(block, size)` in a block of exactly their size, so that a read past them is seen.
template <class Call>
OX_RESULT give_block(std::string_view bytes, Call call) {
  const auto exact = std::make_unique<char[]>(bytes.size());
  bytes.copy(exact.get(), bytes.size());
  return call(exact.get(), static_cast<uint32_t>(bytes.size()));
}

// Decodes every cut of good bytes, which must be malformed, and every change of one of them, which must be malformed
// or give something whole. Returns how many were whole.
template <class Decode>
int cut_and_damage(const std::string& good, Decode decode, OX_RESULT malformed) {
  int whole = 0;
  for (std::size_t at = 0; at < good.size(); ++at) {
    EXPECT_EQ(malformed, decode(std::string_view(good).substr(0, at))) << "cut at " << at;
    for (int change = 1; change < 256; ++change) {
      std::string damaged = good;
      damaged[at] = static_cast<char>(damaged[at] ^ change);
      const OX_RESULT result = decode(damaged);
      EXPECT_TRUE(result == OX_OK || result == malformed) << at << " ^ " << change << ": " << result;
      whole += result == OX_OK ? 1 : 0;
    }
  }
  return whole;
}

}  // namespace ox::test
