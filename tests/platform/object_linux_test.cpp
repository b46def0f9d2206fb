// What other processes do to named objects: die, fork, and serve other roots.
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "platform/file.h"
#include "platform/linux/places.h"
#include "platform/linux/root.h"
#include "platform/named_event.h"
#include "platform/registry.h"
#include "platform/service.h"
#include "platform/shared_block.h"
#include "tests/platform/forked.h"
#include "tests/support/in_threads.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"

namespace ox::platform {
namespace {

namespace fs = std::filesystem;
using Mode = SharedBlock::Mode;
using test::Forked;

std::ptrdiff_t objects_of_root() {
  return std::count_if(fs::directory_iterator(own_folder(*root(), true)), fs::directory_iterator(),
                       [](const auto& entry) { return entry.path().filename() != "lock"; });
}

// One object of each kind.
struct Objects {
  SharedBlock block;
  NamedEvent event;
  NamedMutex mutex;

  std::vector<Error> create(std::size_t size) {
    return {block.create("Global\\left", size, Access::machine), event.create("left", Access::machine),
            mutex.create("left", Access::machine)};
  }
  std::vector<Error> open() { return {block.open("Global\\left", Mode::read), event.open("left"), mutex.open("left")}; }
};
const std::vector<Error> all(3, error_none);
const std::vector<Error> none(3, error_file_not_found);

// Makes them, the event set and the mutex owned, and does not give them up.
bool hold_everything() {
  static auto* held = new Objects();
  if (held->create(5000) != all) return false;
  std::memset(held->block.data(), 'x', 5000);
  held->event.set();
  return held->mutex.lock(0) == error_none;
}

// Who held the old one keeps it, and takes along neither the new one nor its name.
TEST(NamedObjects, ANameCanBeTakenFromItsHolders) {
  SharedBlock old_one, new_one;
  EXPECT_EQ(error_file_not_found, SharedBlock::take_name("taken"));
  ASSERT_EQ(error_none, old_one.create("taken", 100, Access::machine));
  std::memcpy(old_one.data(), "old", 4);
  ASSERT_EQ(error_none, SharedBlock::take_name("taken"));
  EXPECT_EQ(error_file_not_found, new_one.open("taken", Mode::read));
  ASSERT_EQ(error_none, new_one.create("taken", 200, Access::machine));
  EXPECT_STREQ("old", static_cast<char*>(old_one.data()));
  EXPECT_STREQ("", static_cast<char*>(new_one.data()));
  old_one = SharedBlock();
  EXPECT_EQ(error_none, old_one.open("taken", Mode::read));
  EXPECT_EQ(200u, old_one.size());
}

TEST(NamedObjects, LeftoversOfAKilledProcessAreNoObjects) {
  SharedBlock kept;
  ASSERT_EQ(error_none, kept.create("kept", 1, Access::machine));
  for (const std::string gone_by : {"opening", "a daemon's start", "nothing"}) {
    SCOPED_TRACE(gone_by);
    Forked dead(hold_everything);
    ASSERT_TRUE(dead.succeeded());
    dead.kill();
    Objects found;
    ServiceMark mark;
    EXPECT_TRUE(gone_by != "opening" || found.open() == none);
    EXPECT_TRUE(gone_by != "a daemon's start" || mark.hold("Oxbase") == error_none);
    EXPECT_EQ(gone_by == "nothing" ? 4 : 1, objects_of_root());
    ASSERT_EQ(all, found.create(100));
    EXPECT_EQ(std::string(100, '\0'), std::string(static_cast<char*>(found.block.data()), found.block.size()));
    EXPECT_EQ(error_timeout, found.event.wait(0));
    EXPECT_EQ(error_none, found.mutex.lock(0));
  }
  EXPECT_EQ(1, objects_of_root());
  EXPECT_EQ(error_none, SharedBlock().open("kept", Mode::read));
  bool running = true;
  EXPECT_EQ(error_invalid_name, service_running("", running));
  EXPECT_TRUE(running);
}

TEST(NamedObjects, ALivingHolderKeepsWhatADeadOneMade) {
  Forked maker(hold_everything);
  Objects ours;
  ASSERT_EQ(all, ours.open());
  EXPECT_EQ(error_none, ours.event.wait(0));
  EXPECT_EQ(error_timeout, ours.mutex.lock(1));
  maker.kill();
  EXPECT_EQ(error_none, ours.mutex.lock(infinite));  // the dead owner has released it
  SharedBlock other;
  EXPECT_EQ(error_already_exists, other.create("Global\\left", 1, Access::machine));
  ASSERT_EQ(error_none, other.open("Global\\left", Mode::read));
  EXPECT_EQ('x', static_cast<char*>(other.data())[4999]);
}

TEST(NamedObjects, AProcessThatEndsWithoutGivingUpLeavesNothing) {
  EXPECT_EXIT(std::exit(hold_everything() ? 0 : 1), testing::ExitedWithCode(0), "");
  EXPECT_EQ(0, objects_of_root());
}

// However making, opening and giving up fall together, nobody holds another block than the others, or half a one.
TEST(NamedObjects, AllHoldersOfANameHoldTheSameBlock) {
  const std::string contents(9000, 'c');
  const std::string path = test::work_dir() + "/contents";
  test::write_file(path, contents);
  const auto file = [](const SharedBlock& block) { return "/proc/self/fd/" + std::to_string(block.native()); };
  const auto hold_once = [&] {
    SharedBlock block, again;
    Error error = block.open("race", Mode::read);
    if (error == error_file_not_found) error = block.create_from_file("race", path.c_str(), Access::machine);
    EXPECT_TRUE(error == error_none || error == error_already_exists) << error;
    if (error != error_none) return;
    EXPECT_EQ(contents, std::string_view(static_cast<const char*>(block.data()), block.size()));
    ASSERT_EQ(error_none, again.open("race", Mode::read));
    EXPECT_TRUE(fs::equivalent(file(block), file(again)));
  };
  test::in_threads(4, [&](int) {
    for (int round = 0; round < 300; ++round) hold_once();
  });
  EXPECT_EQ(0, objects_of_root());
}

// The child has the parent's own lock, too: the parent must not take itself for the last.
TEST(NamedObjects, AForkedChildIsAHolderLikeAnyOther) {
  Objects objects;
  ASSERT_EQ(all, objects.create(100));
  Forked child([] { return true; });
  objects = Objects();
  EXPECT_EQ(3, objects_of_root());
  EXPECT_EQ(all, objects.open());
  child.kill();
  objects = Objects();
  EXPECT_EQ(0, objects_of_root());
}

TEST(PrivateFiles, AreOfTheOwnAccountWhateverTheMask) {
  for (const mode_t mask : {mode_t{0}, mode_t{0777}}) {
    const std::string directory = test::work_dir() + "/private" + std::to_string(mask);
    const mode_t before = ::umask(mask);
    EXPECT_EQ(error_none, make_private_directory(directory.c_str()));
    EXPECT_EQ(error_none, make_private_file((directory + "/file").c_str()));
    (void)::umask(before);
    EXPECT_EQ(error_already_exists, make_private_file((directory + "/file").c_str()));
    struct stat status {};
    EXPECT_EQ(0, ::stat(directory.c_str(), &status));
    EXPECT_EQ(0700u, status.st_mode & 07777u);
    EXPECT_EQ(0, ::stat((directory + "/file").c_str(), &status));
    EXPECT_EQ(0600u, status.st_mode & 07777u);
  }
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
    const bool in_run = root()->path == run + "/oxbase" && fs::is_directory(root()->path);
    unsetenv("XDG_RUNTIME_DIR");
    return in_run && root()->path == run + "/home/.oxbase" && fs::is_directory(root()->path);
  });
  EXPECT_TRUE(user.succeeded());
}

}  // namespace
}  // namespace ox::platform
