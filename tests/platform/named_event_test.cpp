#include "platform/named_event.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace ox::platform {
namespace {

TEST(NamedEvent, ASecondHolderSeesTheSameEvent) {
  NamedEvent made;
  NamedEvent opened;
  EXPECT_EQ(error_file_not_found, opened.open("Global\\OxWaitEvent"));
  ASSERT_EQ(error_none, made.create("Global\\OxWaitEvent", Access::machine));
  EXPECT_EQ(error_timeout, made.wait(0));
  ASSERT_EQ(error_none, opened.open("Global\\OxWaitEvent"));
  opened.set();
  EXPECT_EQ(error_none, made.wait(0));
  EXPECT_EQ(error_none, made.wait(infinite));  // it stays signalled

  NamedEvent again;
  ASSERT_EQ(error_none, again.create("Global\\OxWaitEvent", Access::machine));
  EXPECT_EQ(error_none, again.wait(0));
  again.reset();
  EXPECT_EQ(error_timeout, opened.wait(1));
  EXPECT_EQ(error_timeout, last_error());

  made = NamedEvent();
  opened = NamedEvent();
  again = NamedEvent();
  EXPECT_EQ(error_file_not_found, opened.open("Global\\OxWaitEvent"));
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

TEST(NamedMutex, ExcludesOtherHoldersUntilReleased) {
  NamedMutex mine;
  NamedMutex theirs;
  EXPECT_EQ(error_file_not_found, mine.open("OxLogon"));
  EXPECT_EQ(error_invalid_handle, mine.lock(0));
  ASSERT_EQ(error_none, mine.create("OxLogon", Access::machine));
  ASSERT_EQ(error_none, theirs.create("OxLogon", Access::machine));
  ASSERT_EQ(error_none, mine.lock(0));
  ASSERT_EQ(error_none, mine.lock(infinite));  // its owner may take it again
  std::thread([&] { EXPECT_EQ(error_timeout, theirs.lock(1)); }).join();
  mine.unlock();
  std::thread([&] { EXPECT_EQ(error_timeout, theirs.lock(0)); }).join();
  mine.unlock();
  std::thread([&] {
    EXPECT_EQ(error_none, theirs.lock(infinite));
    theirs.unlock();
  }).join();
  std::thread([&] {
    NamedMutex own;
    EXPECT_EQ(error_none, own.open("OxLogon"));
    EXPECT_EQ(error_none, own.lock(0));
  }).join();  // giving it up releases it
  EXPECT_EQ(error_none, mine.lock(0));
}

TEST(NamedMutex, TheDeathOfItsOwnerReleasesIt) {
  NamedMutex mutex;
  ASSERT_EQ(error_none, mutex.create("owner", Access::machine));
  std::thread([&] { EXPECT_EQ(error_none, mutex.lock(0)); }).join();
  EXPECT_EQ(error_none, mutex.lock(infinite));
  mutex.unlock();
  EXPECT_EQ(error_none, mutex.lock(0));
}

}  // namespace
}  // namespace ox::platform
