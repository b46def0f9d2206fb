// Objects that processes share by name: events, mutexes, blocks.
#include <atomic>
#include <cstring>
#include <thread>

#include "platform/named_event.h"
#include "platform/shared_block.h"
#include "tests/support/in_threads.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"

namespace ox::platform {
namespace {

constexpr char name[] = "Global\\OxWaitEvent";

TEST(NamedEvent, AllHoldersSeeOneEventThatStaysSet) {
  NamedEvent made, opened, again;
  EXPECT_EQ(error_file_not_found, opened.open(name));
  ASSERT_EQ(error_none, made.create(name, Access::machine));
  EXPECT_EQ(error_timeout, made.wait(0));
  ASSERT_EQ(error_none, opened.open(name));
  opened.set();
  EXPECT_EQ(error_none, made.wait(infinite));
  ASSERT_EQ(error_none, again.create(name, Access::machine));
  EXPECT_EQ(error_none, again.wait(0));
  again.reset();
  EXPECT_EQ(error_timeout, opened.wait(1));
  EXPECT_EQ(error_timeout, last_error());

  for (NamedEvent* event : {&made, &opened, &again}) *event = NamedEvent();
  EXPECT_EQ(error_file_not_found, opened.open(name));
  EXPECT_EQ(error_invalid_handle, opened.wait(infinite));
}

TEST(NamedEvent, EventsWithoutANameAreApart) {
  NamedEvent one, two;
  ASSERT_EQ(error_none, one.create(nullptr, Access::machine));
  ASSERT_EQ(error_none, two.create(nullptr, Access::machine));
  one.set();
  EXPECT_EQ(error_timeout, two.wait(0));
  EXPECT_EQ(0, NamedEvent::wait_any(one, two, infinite));
  EXPECT_EQ(1, NamedEvent::wait_any(two, one, infinite));
  one.reset();
  EXPECT_EQ(-1, NamedEvent::wait_any(one, two, 1));
}

TEST(NamedEvent, WaitersAreWokenByASetThatIsResetAtOnce) {
  NamedEvent go, other;
  ASSERT_EQ(error_none, go.create("go", Access::group));
  ASSERT_EQ(error_none, other.create(nullptr, Access::group));
  std::atomic<int> woken{0};
  test::in_threads(3, [&](int i) {
    EXPECT_TRUE(i != 0 || go.wait(infinite) == error_none);
    EXPECT_TRUE(i != 1 || NamedEvent::wait_any(other, go, infinite) == 1);
    if (i != 2) ++woken;
    while (i == 2 && woken != 2) {  // until both have begun to wait
      go.set();
      go.reset();
      std::this_thread::yield();
    }
  });
}

TEST(NamedMutex, ExcludesOtherThreadsUntilItsOwnerReleasesItOrDies) {
  NamedMutex mine, theirs;
  const auto theirs_elsewhere = [&](std::uint32_t milliseconds) {
    Error error = error_none;
    std::thread([&] { error = theirs.lock(milliseconds); }).join();  // an owner dies with its thread
    return error;
  };
  EXPECT_EQ(error_file_not_found, mine.open("OxLogon"));
  EXPECT_EQ(error_invalid_handle, mine.lock(0));
  ASSERT_EQ(error_none, mine.create("OxLogon", Access::machine));
  ASSERT_EQ(error_none, theirs.create("OxLogon", Access::machine));
  ASSERT_EQ(error_none, mine.lock(0));
  ASSERT_EQ(error_none, mine.lock(infinite));  // its owner may take it again
  EXPECT_EQ(error_timeout, theirs_elsewhere(1));
  mine.unlock();
  EXPECT_EQ(error_timeout, theirs_elsewhere(0));
  mine.unlock();
  EXPECT_EQ(error_none, theirs_elsewhere(infinite));
  EXPECT_EQ(error_none, mine.lock(infinite));
  mine.unlock();
  EXPECT_EQ(error_none, theirs_elsewhere(0));
  EXPECT_EQ(error_none, mine.lock(infinite));
  mine = NamedMutex();  // giving it up releases it, too
  EXPECT_EQ(error_none, theirs_elsewhere(0));
}

using Mode = SharedBlock::Mode;

TEST(SharedBlock, LivesAsLongAsItsLastHolder) {
  SharedBlock made, second, third;
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
  ASSERT_EQ(error_none, third.open("Global\\ox1120", Mode::write_or_read));
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

TEST(SharedBlock, OneWithoutANameIsItsMakersOwn) {
  SharedBlock block, again, other, named;
  ASSERT_EQ(error_none, block.create(nullptr, 5000, Access::machine));
  ASSERT_EQ(error_none, other.create(nullptr, 5000, Access::machine));
  ASSERT_EQ(error_none, again.open_again(block, Mode::write));
  std::memcpy(again.data(), "mine", 5);
  block = SharedBlock();
  ASSERT_EQ(error_none, block.open_again(again, Mode::read));
  EXPECT_STREQ("mine", static_cast<char*>(block.data()));
  EXPECT_STREQ("", static_cast<char*>(other.data()));
  ASSERT_EQ(error_none, named.create("named", 1, Access::machine));
  EXPECT_EQ(error_invalid_parameter, again.open_again(named, Mode::read));
  EXPECT_EQ(error_invalid_parameter, again.create(nullptr, 0, Access::machine));
}

TEST(SharedBlock, AFileBecomesABlock) {
  const std::string path = test::home_dir() + "/texts";
  test::write_file(path, "1:one\r\n2:two");
  SharedBlock block;
  ASSERT_EQ(error_none, block.create_from_file("texts", path.c_str(), Access::machine));
  EXPECT_EQ("1:one\r\n2:two", std::string_view(static_cast<const char*>(block.data()), 12));
  SharedBlock other;
  EXPECT_EQ(error_already_exists, other.create_from_file("texts", path.c_str(), Access::machine));
  EXPECT_EQ(error_none, other.create_from_file(nullptr, path.c_str(), Access::machine));  // beside it, for itself
  EXPECT_EQ("1:one\r\n2:two", std::string_view(static_cast<const char*>(other.data()), 12));
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
