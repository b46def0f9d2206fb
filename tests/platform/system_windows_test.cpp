// Names of systems beside the machine's, and time where the system counts it in 32 bits.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "platform/windows/newer_calls.h"
#include "platform/windows/private_system.h"

namespace ox::platform {
namespace {

TEST(PrivateSystem, FoldersHaveOneTagEach) {
  const std::string tag = tag_of_system("C:\\some folder\\system");
  for (const char* const same :
       {"C:/some folder/system", "c:\\Some Folder\\SYSTEM\\", "C:\\some folder\\x\\..\\system"})
    EXPECT_EQ(tag, tag_of_system(same)) << same;
  const std::string end(64, 'x');
  const std::string others[] = {"C:\\some_folder\\system", "C:\\some\\folder\\system",
                                "D:\\some folder\\system", "C:\\a\\" + end,
                                "C:\\b\\" + end,           "C:\\" + std::string(400, 'x')};
  for (const std::string& other : others) {
    EXPECT_NE(tag, tag_of_system(other)) << other;
    EXPECT_EQ(1, std::count_if(std::begin(others), std::end(others),
                               [&](const std::string& one) { return tag_of_system(one) == tag_of_system(other); }))
        << other;
    EXPECT_GE(57u, tag_of_system(other).size());
    EXPECT_EQ(std::string::npos, tag_of_system(other).find_first_of("\\/: "));
  }
}

TEST(NewerCalls, TicksGoOnOverTheWrap) {
  const struct {
    std::uint64_t last;
    std::uint32_t counter;
    std::uint64_t now;
  } rows[] = {{0, 5, 5},
              {0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF},
              {0xFFFFFFFF, 0, 0x100000000},
              {0x1FFFFFFF0, 0x10, 0x200000010},
              {0x200000010, 0xFFFFFFFF, 0x2FFFFFFFF}};
  for (const auto& row : rows) EXPECT_EQ(row.now, ticks_after(row.last, row.counter)) << row.last;
}

}  // namespace
}  // namespace ox::platform
