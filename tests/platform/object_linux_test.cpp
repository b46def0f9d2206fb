// What other processes do to named objects: die, fork, and serve other roots.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/root.h"
#include "platform/named_event.h"
#include "platform/registry.h"
#include "platform/service.h"
#include "platform/shared_block.h"
#include "tests/platform/forked.h"
#include "tests/support/system_root.h"

namespace ox::platform {
namespace {

namespace fs = std::filesystem;
using Mode = SharedBlock::Mode;
using test::Forked;

std::ptrdiff_t objects_of_root() {
  const std::string prefix = root()->prefix;
  return std::count_if(fs::directory_iterator("/dev/shm"), fs::directory_iterator(), [&](const auto& entry) {
    return entry.path().filename().string().compare(0, prefix.size(), prefix) == 0;
  });
}

// Makes one object of each kind and keeps them, the mutex owned.
bool hold_everything() {
  static SharedBlock block;
  static NamedEvent event;
  static NamedMutex mutex;
  if (block.create("Global\\left", 5000, Access::machine) != error_none) return false;
  std::memset(block.data(), 'x', 5000);
  if (event.create("left", Access::machine) != error_none) return false;
  event.set();
  return mutex.create("left", Access::machine) == error_none && mutex.lock(0) == error_none;
}

TEST(NamedObjects, ALeftoverOfAKilledProcessIsNoObject) {
  for (const bool open_first : {true, false}) {
    Forked dead(hold_everything);
    ASSERT_TRUE(dead.succeeded());
    EXPECT_EQ(3, objects_of_root());
    dead.kill();
    SharedBlock block;
    NamedEvent event;
    NamedMutex mutex;
    if (open_first) {
      EXPECT_EQ(error_file_not_found, block.open("Global\\left", Mode::read));
      EXPECT_EQ(error_file_not_found, event.open("left"));
      EXPECT_EQ(error_file_not_found, mutex.open("left"));
      EXPECT_EQ(0, objects_of_root());
    }
    ASSERT_EQ(error_none, block.create("Global\\left", 100, Access::machine));
    EXPECT_EQ(100U, block.size());
    EXPECT_EQ(std::string(100, '\0'), std::string(static_cast<char*>(block.data()), 100));
    ASSERT_EQ(error_none, event.create("left", Access::machine));
    EXPECT_EQ(error_timeout, event.wait(0));
    ASSERT_EQ(error_none, mutex.create("left", Access::machine));
    EXPECT_EQ(error_none, mutex.lock(0));
  }
  EXPECT_EQ(0, objects_of_root());
}

TEST(NamedObjects, ObjectsNamedAfterTheDeadGoAtADaemonsStart) {
  Forked dead(hold_everything);
  SharedBlock kept;
  ASSERT_EQ(error_none, kept.create("kept", 1, Access::machine));
  dead.kill();
  EXPECT_EQ(4, objects_of_root());
  ServiceMark mark;
  ASSERT_EQ(error_none, mark.hold("Oxbase"));
  EXPECT_EQ(1, objects_of_root());
  SharedBlock other;
  EXPECT_EQ(error_none, other.open("kept", Mode::read));
}

TEST(NamedObjects, ALivingHolderKeepsWhatADeadOneMade) {
  SharedBlock block;
  NamedMutex mutex;
  Forked maker(hold_everything);
  ASSERT_TRUE(maker.succeeded());
  ASSERT_EQ(error_none, block.open("Global\\left", Mode::write));
  ASSERT_EQ(error_none, mutex.open("left"));
  EXPECT_EQ(error_timeout, mutex.lock(1));
  maker.kill();
  EXPECT_EQ(error_none, mutex.lock(infinite));  // the dead owner has released it
  SharedBlock other;
  EXPECT_EQ(error_already_exists, other.create("Global\\left", 1, Access::machine));
  ASSERT_EQ(error_none, other.open("Global\\left", Mode::read));
  EXPECT_EQ('x', static_cast<char*>(other.data())[4999]);
}

TEST(NamedObjects, EventsReachOtherProcesses) {
  NamedEvent go;
  NamedEvent done;
  ASSERT_EQ(error_none, go.create("go", Access::daemon));
  ASSERT_EQ(error_none, done.create("done", Access::daemon));
  go.set();
  const Forked other([] {
    NamedEvent theirs;
    NamedEvent answer;
    if (theirs.open("go") != error_none || answer.open("done") != error_none) return false;
    if (NamedEvent::wait_any(answer, theirs, infinite) != 1) return false;
    theirs.reset();
    answer.set();
    return true;
  });
  EXPECT_TRUE(other.succeeded());
  EXPECT_EQ(error_none, done.wait(infinite));
  EXPECT_EQ(error_timeout, go.wait(0));
}

TEST(NamedObjects, AProcessThatEndsWithoutGivingUpLeavesNothing) {
  EXPECT_EXIT(
      {
        if (!hold_everything()) std::_Exit(1);
        static auto* kept = new SharedBlock();  // never destroyed
        if (kept->create("kept", 10, Access::machine) != error_none) std::_Exit(2);
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
  EXPECT_EQ(0, objects_of_root());
}

// However making, opening and giving up fall together, nobody holds another block than the others, or half a one.
TEST(NamedObjects, AllHoldersOfANameHoldTheSameBlock) {
  const std::string contents(9000, 'c');
  const std::string path = test::work_dir() + "/contents";
  test::write_file(path, contents);
  std::mutex guard;
  std::multiset<ino_t> held;
  const auto note = [&](const SharedBlock& block) {
    struct stat status {};
    ASSERT_EQ(0, fstat(static_cast<int>(block.native()), &status));
    const std::lock_guard lock(guard);
    held.insert(status.st_ino);
    EXPECT_EQ(held.size(), held.count(status.st_ino));
  };
  const auto forget = [&](SharedBlock block) {
    const std::lock_guard lock(guard);
    held.erase(held.begin());
    return block;  // given up by the caller, with the guard free
  };
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 300; ++round) {
        SharedBlock block;
        Error error = block.open("race", Mode::read);
        EXPECT_TRUE(error == error_none || error == error_file_not_found) << error;
        if (error != error_none) error = block.create_from_file("race", path.c_str(), Access::machine);
        if (error != error_none) {
          EXPECT_EQ(error_already_exists, error);
          continue;
        }
        note(block);
        EXPECT_EQ(contents, std::string_view(static_cast<const char*>(block.data()), block.size()));
        (void)forget(std::move(block));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_FALSE(fs::exists("/dev/shm/" + root()->prefix + "b.race"));
}

TEST(NamedObjects, TheLastOfTwoWhoGiveUpAtOnceRemovesIt) {
  for (int round = 0; round < 200; ++round) {
    auto first = std::make_unique<SharedBlock>();
    auto second = std::make_unique<SharedBlock>();
    ASSERT_EQ(error_none, first->create("both", 10, Access::machine));
    ASSERT_EQ(error_none, second->open("both", Mode::write));
    std::atomic<int> ready{0};
    const auto together = [&ready](std::unique_ptr<SharedBlock>& block) {
      for (++ready; ready != 2;) std::this_thread::yield();
      block.reset();
    };
    std::thread other([&] { together(second); });
    together(first);
    other.join();
    ASSERT_FALSE(fs::exists("/dev/shm/" + root()->prefix + "b.both")) << "round " << round;
  }
}

TEST(NamedObjects, AForkedChildGivesUpOnlyItsOwnCopy) {
  SharedBlock block;
  ASSERT_EQ(error_none, block.create("forked", 10, Access::machine));
  const Forked child([&] {
    block = SharedBlock();
    return true;
  });
  SharedBlock other;
  EXPECT_EQ(error_none, other.open("forked", Mode::read));
}

TEST(NamedObjects, WhoMayNotWriteABlockReadsIt) {
  SharedBlock block;
  ASSERT_EQ(error_none, block.create("tree", 10, Access::machine));
  ASSERT_EQ(0, fchmod(static_cast<int>(block.native()), 0444));
  ASSERT_EQ(0, chmod(test::system_root().c_str(), 0711));
  const Forked stranger([] {
    SharedBlock theirs;
    return test::become_nobody() && theirs.open("tree", Mode::write) == error_access_denied &&
           last_error() == error_access_denied && theirs.open("tree", Mode::write_or_read) == error_none;
  });
  EXPECT_TRUE(stranger.succeeded());
}

class OtherRoot {
 public:
  explicit OtherRoot(const std::string& path) { setenv("OXBASE_SYSTEM", path.c_str(), 1); }
  OtherRoot(const OtherRoot&) = delete;
  OtherRoot& operator=(const OtherRoot&) = delete;
  ~OtherRoot() { setenv("OXBASE_SYSTEM", test::system_root().c_str(), 1); }
};

TEST(SystemRoot, TwoRootsDoNotSeeEachOther) {
  constexpr char key[] = "SOFTWARE\\Roots";
  const std::string link = test::system_root() + "/link";
  const std::string second = test::system_root() + "/second/root";
  SharedBlock ours;
  ServiceMark mark;
  ASSERT_EQ(error_none, ours.create("block", 10, Access::machine));
  ASSERT_EQ(error_none, mark.hold("Oxbase"));
  ASSERT_EQ(error_none, registry_write(key, "Number", 1U));
  fs::create_directory_symlink(test::system_root(), link);
  SharedBlock theirs;
  std::uint32_t number = 0;
  bool running = false;
  {
    const OtherRoot same(link);
    EXPECT_EQ(error_already_exists, theirs.create("block", 10, Access::machine));
    EXPECT_EQ(error_none, registry_read(key, "Number", number));
    EXPECT_EQ(error_none, service_running("Oxbase", running));
    EXPECT_TRUE(running);
  }
  {
    const OtherRoot other(second);
    ASSERT_EQ(error_none, theirs.create("block", 10, Access::machine));
    EXPECT_FALSE(registry_has_key(key));
    EXPECT_EQ(error_none, service_running("Oxbase", running));
    EXPECT_FALSE(running);
    EXPECT_EQ(fs::perms{0770}, fs::status(second).permissions());
  }
  theirs = SharedBlock();  // given up in its own root, though another one is selected now
  EXPECT_EQ(error_none, theirs.open("block", Mode::read));
  const OtherRoot other(second);
  EXPECT_EQ(error_file_not_found, theirs.open("block", Mode::read));
}

TEST(SystemRoot, AUserHasOneInTheRuntimeDirectory) {
  const std::string run = test::system_root() + "/run";
  fs::create_directory(run);
  fs::permissions(run, fs::perms::all);
  ASSERT_EQ(0, chmod(test::system_root().c_str(), 0711));
  const Forked user([&] {
    if (!test::become_nobody()) return false;
    unsetenv("OXBASE_SYSTEM");
    setenv("XDG_RUNTIME_DIR", run.c_str(), 1);
    setenv("HOME", (run + "/home").c_str(), 1);
    if (root()->path != run + "/oxbase" || !fs::is_directory(run + "/oxbase")) return false;
    unsetenv("XDG_RUNTIME_DIR");
    return root()->path == run + "/home/.oxbase" && fs::is_directory(run + "/home/.oxbase");
  });
  EXPECT_TRUE(user.succeeded());
}

}  // namespace
}  // namespace ox::platform
