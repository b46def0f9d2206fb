#include "platform/named_event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace ox::platform {
namespace {

constexpr char name[] = "Global\\OxWaitEvent";

TEST(NamedEvent, AllHoldersSeeOneEventThatStaysSet) {
  NamedEvent made;
  NamedEvent opened;
  NamedEvent again;
  EXPECT_EQ(error_file_not_found, opened.open(name));
  ASSERT_EQ(error_none, made.create(name, Access::machine));
  EXPECT_EQ(error_timeout, made.wait(0));
  ASSERT_EQ(error_none, opened.open(name));
  opened.set();
  EXPECT_EQ(error_none, made.wait(0));
  EXPECT_EQ(error_none, made.wait(infinite));
  ASSERT_EQ(error_none, again.create(name, Access::machine));
  EXPECT_EQ(error_none, again.wait(0));
  again.reset();
  EXPECT_EQ(error_timeout, opened.wait(1));
  EXPECT_EQ(error_timeout, last_error());

  for (NamedEvent* event : {&made, &opened, &again}) *event = NamedEvent();
  EXPECT_EQ(error_file_not_found, opened.open(name));
  EXPECT_EQ(error_invalid_handle, opened.wait(infinite));
  opened.set();
}

TEST(NamedEvent, EventsWithoutANameAreApart) {
  NamedEvent one;
  NamedEvent two;
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
  NamedEvent go;
  NamedEvent other;
  ASSERT_EQ(error_none, go.create("go", Access::group));
  ASSERT_EQ(error_none, other.create(nullptr, Access::group));
  std::atomic<int> woken{0};
  std::thread one([&] {
    EXPECT_EQ(error_none, go.wait(infinite));
    ++woken;
  });
  std::thread any([&] {
    EXPECT_EQ(1, NamedEvent::wait_any(other, go, infinite));
    ++woken;
  });
  while (woken != 2) {  // until both have begun to wait
    go.set();
    go.reset();
    std::this_thread::yield();
  }
  one.join();
  any.join();
}

TEST(NamedMutex, ExcludesOtherThreadsUntilItsOwnerReleasesItOrDies) {
  NamedMutex mine;
  NamedMutex theirs;
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

}  // namespace
}  // namespace ox::platform
