// Events and their bytes, as tests make and compare them.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include <oxbase/oxc.h>
#include <oxbase/oxe.h>

#include "tests/support/byte_text.h"

namespace ox::test {

[[nodiscard]] inline std::string take_block(void* block, std::uint32_t length) {
  std::string bytes(static_cast<const char*>(block), length);
  oxcMemFree(block);
  return bytes;
}

[[nodiscard]] inline std::string encode(const evmsg* list, std::uint32_t first_only = 0) {
  void* block = nullptr;
  std::uint32_t length = 0;
  EXPECT_EQ(0u, oxeEvmsgEncode(list, &block, &length, first_only));
  return take_block(block, length);
}

// From a block of the exact size, so that the sanitizer sees a read past it.
[[nodiscard]] inline OX_RESULT decode(std::string_view wire, evmsg** list) {
  const std::vector<char> exact(wire.begin(), wire.end());
  return oxeEvmsgDecode(exact.data(), static_cast<std::uint32_t>(exact.size()), list);
}

// The send identifiers of a list, in order.
[[nodiscard]] inline std::vector<std::uint32_t> ids(const evmsg* list) {
  std::vector<std::uint32_t> result;
  for (const evmsg* event = list; event != nullptr; event = oxeEvmsgNext(event)) {
    EXPECT_EQ(0u, oxeEvmsgGetSndId(event, &result.emplace_back()));
  }
  return result;
}

[[nodiscard]] inline evmsg* events_of(const std::vector<std::uint32_t>& wanted) {
  evmsg* list = nullptr;
  for (const std::uint32_t id : wanted) {
    evmsg* const event = oxeEvmsgAlloc();
    EXPECT_EQ(0u, oxeEvmsgSetSndId(event, id));
    oxcQueueAdd(&list, event);
  }
  return list;
}

// Compares the live blocks before and after.
class EventTest : public testing::Test {
 protected:
  void SetUp() override { blocks_ = oxcGetMemValue(1); }
  void TearDown() override { EXPECT_EQ(blocks_, oxcGetMemValue(1)); }

 private:
  std::uint32_t blocks_ = 0;
};

}  // namespace ox::test
