// What 32-bit programs see of records, and what the manager sees of their addresses.
#include <gtest/gtest.h>

#include <cstddef>

#include <oxbase/oxbase.h>

#include "access/async_request.h"

namespace ox {
namespace {

static_assert(sizeof(Queue) == 8 && offsetof(Queue, next) == 0 && offsetof(Queue, prev) == 4);

TEST(Layout, AWireIdIsTheRecordsAddress) {
  const int records[2] = {};
  std::uint32_t last = 0;
  for (const int& record : records) {
    const std::uint32_t id = make_wire_id(&record, last, [](std::uint32_t) { return false; });
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(&record), id);
  }
}

}  // namespace
}  // namespace ox
