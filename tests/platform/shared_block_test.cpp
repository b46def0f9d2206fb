#include "platform/shared_block.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/system_root.h"

namespace ox::platform {
namespace {

using Mode = SharedBlock::Mode;

TEST(SharedBlock, LivesAsLongAsItsLastHolder) {
  SharedBlock made;
  SharedBlock second;
  SharedBlock third;
  ASSERT_EQ(error_none, made.create("Global\\ox1120", 8200, Access::machine));
  EXPECT_EQ(std::string(8200, '\0'), std::string(static_cast<char*>(made.data()), 8200));
  EXPECT_LE(8200U, made.size());
  std::memcpy(made.data(), "tree", 5);
  EXPECT_EQ(error_already_exists, second.create("Global\\ox1120", 16, Access::machine));
  EXPECT_EQ(error_already_exists, last_error());
  EXPECT_FALSE(second);
  ASSERT_EQ(error_none, second.open("Global\\ox1120", Mode::read));
  EXPECT_STREQ("tree", static_cast<char*>(second.data()));

  ASSERT_EQ(error_none, made.create("another", 100, Access::machine));  // and gives up the first
  EXPECT_EQ(error_invalid_parameter, made.create("none", 0, Access::machine));
  EXPECT_EQ(error_none, third.open("another", Mode::write_or_read));  // still held
  ASSERT_EQ(error_none, third.open("Global\\ox1120", Mode::write));
  std::memcpy(third.data(), "TREE", 4);
  EXPECT_STREQ("TREE", static_cast<char*>(second.data()));
  for (SharedBlock* block : {&made, &second, &third}) *block = SharedBlock();
  for (const char* gone : {"Global\\ox1120", "another"}) EXPECT_EQ(error_file_not_found, made.open(gone, Mode::read));
}

TEST(SharedBlock, NamesStayApart) {
  const char* const names[] = {"Global\\a", "Global_a", "a", "A", "Global/a", ".", "..", "%2E"};
  std::vector<SharedBlock> blocks(std::size(names));
  for (std::size_t i = 0; i < std::size(names); ++i) {
    ASSERT_EQ(error_none, blocks[i].create(names[i], 10 + i, Access::machine)) << names[i];
  }
  SharedBlock block;
  EXPECT_NE(error_none, block.create("", 10, Access::machine));
  EXPECT_NE(error_none, block.create(std::string(5000, 'x').c_str(), 10, Access::machine));
}

TEST(SharedBlock, AFileBecomesABlock) {
  const std::string path = test::home_dir() + "/texts";
  test::write_file(path, "1:one\r\n2:two");
  SharedBlock block;
  ASSERT_EQ(error_none, block.create_from_file("texts", path.c_str(), Access::machine));
  EXPECT_EQ("1:one\r\n2:two", std::string_view(static_cast<const char*>(block.data()), 12));
  SharedBlock other;
  EXPECT_EQ(error_already_exists, other.create_from_file("texts", path.c_str(), Access::machine));
  EXPECT_EQ(error_none, other.open("texts", Mode::read));
  EXPECT_EQ(error_file_not_found, other.create_from_file("none", (path + "x").c_str(), Access::machine));
  const std::string empty = test::home_dir() + "/empty";
  test::write_file(empty, "");
  EXPECT_EQ(error_file_invalid, other.create_from_file("none", empty.c_str(), Access::machine));
  EXPECT_TRUE(other);
}

TEST(SharedBlock, ReadabilityIsToldWithoutAFault) {
  SharedBlock block;
  ASSERT_EQ(error_none, block.create("readable", 3U << 20, Access::machine));
  const char* base = static_cast<const char*>(block.data());
  EXPECT_TRUE(is_readable(base, block.size()));
  EXPECT_TRUE(is_readable(base + 1, block.size() - 1));
  EXPECT_TRUE(is_readable(nullptr, 0));
  EXPECT_FALSE(is_readable(nullptr, 1));
  EXPECT_FALSE(is_readable(base, SIZE_MAX));
  block = SharedBlock();
  EXPECT_FALSE(is_readable(base, 1));
}

}  // namespace
}  // namespace ox::platform
