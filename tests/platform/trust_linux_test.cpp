// What other accounts try against an installation, each with its own rights: a member of the installation's group, and
// a stranger. The accounts are numbers; nothing of the machine knows them.
#include <fcntl.h>
#include <grp.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <functional>

#include "platform/linux/file_lock.h"
#include "platform/linux/places.h"
#include "platform/linux/root.h"
#include "platform/machine_objects.h"
#include "platform/named_event.h"
#include "platform/own_file.h"
#include "platform/pipe.h"
#include "platform/registry.h"
#include "platform/service.h"
#include "platform/shared_block.h"
#include "tests/platform/forked.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"

namespace ox::platform {
namespace {

namespace fs = std::filesystem;
using Mode = SharedBlock::Mode;
using test::Forked;

struct Account {
  const char* name;
  uid_t user;
  gid_t group;
};
constexpr Account owner{"the installation", 2001, 2100}, member{"a member", 2002, 2100},
    stranger{"a stranger", 2003, 2003}, victim{"another member", 2004, 2100};
constexpr Account attackers[] = {member, stranger};

constexpr char tree[] = "Global\\ox1120";
constexpr char started[] = "Global\\OxWaitEvent";
constexpr char key[] = "SOFTWARE\\CORVID\\OXBASE";

class Trust : public testing::Test {
 protected:
  void SetUp() override {
    if (::geteuid() != 0) GTEST_SKIP() << "NOT TESTED: attacks by other accounts need root";
    root_ = test::system_root() + "/installation";
    make_folder(root_, owner, 0755);
    for (const Account& account : {member, stranger, victim}) {
      make_folder(runtime_of(account), account, 0700);
    }
  }
  void TearDown() override {
    test::set_environment("OXBASE_SYSTEM", test::system_root().c_str());
    if (!root_.empty()) fs::remove_all(root_);
  }

  static void make_folder(const std::string& path, const Account& account, mode_t mode) {
    fs::create_directories(path);
    ASSERT_EQ(0, ::chown(path.c_str(), account.user, account.group));
    ASSERT_EQ(0, ::chmod(path.c_str(), mode));
  }
  [[nodiscard]] std::string in_root(const std::string& name) const { return root_ + "/" + name; }
  static std::string runtime_of(const Account& account) {
    return test::system_root() + "/runtime" + std::to_string(account.user);
  }
  // A process of that account, which stays when the body has returned true.
  template <class Body>
  [[nodiscard]] auto as(const Account& account, Body body) const {
    return std::make_unique<Forked>([&] {
      ::alarm(20);  // one that hangs has failed
      if (::setgroups(0, nullptr) != 0 || ::setgid(account.group) != 0 || ::setuid(account.user) != 0) return false;
      test::set_environment("OXBASE_SYSTEM", root_.c_str());
      test::set_environment("XDG_RUNTIME_DIR", runtime_of(account).c_str());
      const bool done = body();
      ::alarm(0);
      return done;
    });
  }
  // Everything that a manager makes.
  [[nodiscard]] auto serve() const {
    return as(owner, [] {
      static SharedBlock block;
      static NamedEvent event;
      static ServiceMark mark;
      static MachineObjects objects;
      if (mark.hold("Oxbase") != error_none || registry_write(key, "HomeDir", "/home") != error_none) return false;
      if (block.create(tree, 100, Access::machine) != error_none) return false;
      std::memcpy(block.data(), "genuine", 8);
      return event.create(started, Access::machine) == error_none && objects.offer_blocks({tree}) == error_none &&
             objects.offer_event(started) == error_none;
    });
  }
  // A client finds what is the installation's own.
  static bool finds_all() {
    SharedBlock block;
    NamedEvent event;
    std::string home;
    bool running = false;
    return block.open(tree, Mode::write_or_read) == error_none && !block.writable() && block.size() == 100 &&
           std::strcmp(static_cast<const char*>(block.data()), "genuine") == 0 && event.open(started) == error_none &&
           registry_read(key, "HomeDir", home, 100) == error_none && home == "/home" &&
           service_running("Oxbase", running) == error_none && running;
  }

  std::string root_;
};

// Makes everything under the names of the manager's, before it and beside it.
bool squat() {
  static SharedBlock block, texts;
  static NamedEvent event;
  static NamedMutex mutex;
  return block.create(tree, 100, Access::machine) == error_none &&
         texts.create("Global\\ox_errmsg", 10, Access::machine) == error_none &&
         event.create(started, Access::machine) == error_none && mutex.create("OxLogon", Access::machine) == error_none;
}

TEST_F(Trust, SquattedNamesKeepNobodyAway) {
  for (const Account& attacker : attackers) {
    SCOPED_TRACE(attacker.name);
    const auto squatting = as(attacker, squat);
    ASSERT_TRUE(squatting->succeeded());
    const auto manager = serve();
    ASSERT_TRUE(manager->succeeded());
    EXPECT_TRUE(as(victim, finds_all)->succeeded());
    EXPECT_TRUE(as(victim, [] {
                  SharedBlock texts;
                  return texts.open("Global\\ox_errmsg", Mode::read) == error_file_not_found &&
                         NamedMutex().open("OxLogon") == error_file_not_found;
                })->succeeded());
  }
}

std::vector<std::string> files_below(const std::string& folder) {
  std::vector<std::string> files{folder};
  for (const auto& entry : fs::recursive_directory_iterator(folder, fs::directory_options::skip_permission_denied))
    files.push_back(entry.path().string());
  return files;
}

// Whatever a manager has made: nobody else writes it, shortens it, or puts something else in its place.
TEST_F(Trust, NothingCanBeShortenedOrReplaced) {
  const auto manager = serve();
  ASSERT_TRUE(manager->succeeded());
  const std::vector<std::string> files = files_below(root_);
  ASSERT_GE(files.size(), 10u);
  for (const Account& attacker : attackers) {
    EXPECT_TRUE(as(attacker, [&] {
                  bool kept = true;
                  for (const std::string& file : files) {
                    const bool can = ::truncate(file.c_str(), 0) == 0 || ::open(file.c_str(), O_RDWR) >= 0 ||
                                     ::rename(file.c_str(), (file + "x").c_str()) == 0 ||
                                     ::symlink("/etc/passwd", (file + "/y").c_str()) == 0;
                    if (can) kept = !std::fprintf(stderr, "%s: %s\n", attacker.name, file.c_str());
                  }
                  return kept;
                })->succeeded());
  }
  EXPECT_TRUE(as(victim, finds_all)->succeeded());
}

// Takes every lock that can be had of every file that can be opened, and holds it.
bool lock_everything(const std::vector<std::string>& files) {
  for (const std::string& file : files) {
    const int flocked = ::open(file.c_str(), O_RDONLY | O_NONBLOCK);
    const int locked = ::open(file.c_str(), O_RDONLY | O_NONBLOCK);
    if (flocked >= 0) (void)::flock(flocked, LOCK_EX | LOCK_NB);
    if (locked >= 0) (void)lock_file(locked, F_RDLCK);
  }
  return true;
}

TEST_F(Trust, LocksOfOthersStopNobody) {
  for (const Account& attacker : attackers) {
    SCOPED_TRACE(attacker.name);
    ASSERT_TRUE(serve()->succeeded());  // and is killed
    // What an older release left open to all.
    for (const char* file : {"registry.lock", "service/turn", "run/own/lock", "run/lock"}) {
      ASSERT_EQ(0, ::chmod(in_root(file).c_str(), 0664)) << file;
    }
    const auto files = files_below(root_);
    const auto holder = as(attacker, [&] { return lock_everything(files); });
    ASSERT_TRUE(holder->succeeded());
    EXPECT_TRUE(as(victim, [] {
                  bool running = true;
                  return service_running("Oxbase", running) == error_none && !running;
                })->succeeded());
    const auto manager = serve();
    ASSERT_TRUE(manager->succeeded());
    const auto late = as(attacker, [&] { return lock_everything(files_below(root_ + "/run")) && false; });
    EXPECT_TRUE(as(victim, finds_all)->succeeded());
    EXPECT_TRUE(as(owner, [] {
                  return ServiceMark().hold("Oxbase") == error_already_exists &&
                         registry_write(key, "Other", 1u) == error_none;
                })->succeeded());
  }
}

// Where the root folder is still open to its group, a member can put others in the place of its files: they are not
// believed.
TEST_F(Trust, WhatAMemberPutsIntoTheRootIsNotBelieved) {
  ASSERT_TRUE(serve()->succeeded());
  ASSERT_EQ(0, ::chmod(root_.c_str(), 0775));
  const struct {
    const char* what;
    bool (*attack)(const std::string& root);
    bool (*found)();
  } rows[] = {
      {"a registry of his own",
       [](const std::string& root) {
         return ::rename((root + "/registry.reg").c_str(), (root + "/r").c_str()) == 0 &&
                registry_write(key, "HomeDir", "/evil") == error_access_denied &&
                fs::copy_file(root + "/r", root + "/registry.reg");
       },
       [] { return registry_has_key(key); }},
      {"a link for a registry",
       [](const std::string& root) {
         return ::unlink((root + "/registry.reg").c_str()) == 0 &&
                ::symlink((root + "/r").c_str(), (root + "/registry.reg").c_str()) == 0;
       },
       [] { return registry_has_key(key); }},
      {"a tree of his own",
       [](const std::string& root) {
         ::rename((root + "/run").c_str(), (root + "/old").c_str());
         fs::create_directory(root + "/run");
         return fs::copy_file(root + "/old/b.Global%5Cox1120", root + "/run/b.Global%5Cox1120");
       },
       [] { return SharedBlock().open(tree, Mode::read) == error_none; }},
      {"a link to the genuine tree",
       [](const std::string& root) {
         fs::remove_all(root + "/run");
         return ::symlink("old", (root + "/run").c_str()) == 0;
       },
       [] { return SharedBlock().open(tree, Mode::read) == error_none; }},
      {"a service of his own",
       [](const std::string& root) {
         ::rename((root + "/service").c_str(), (root + "/olds").c_str());
         fs::create_directory(root + "/service");
         const int mark = ::open((root + "/service/Oxbase.lock").c_str(), O_RDWR | O_CREAT, 0666);
         return lock_file(mark, F_WRLCK);
       },
       [] {
         bool running = false;
         return service_running("Oxbase", running) == error_none && running;
       }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    const auto attack = as(member, [&] { return row.attack(root_); });
    ASSERT_TRUE(attack->succeeded());
    EXPECT_TRUE(as(victim, [&] { return !row.found(); })->succeeded());
  }
}

// A socket in the manager's place: nothing is sent to it, not even the greeting.
TEST_F(Trust, APlantedSocketIsToldNothing) {
  make_folder(in_root("pipe"), member, 0777);
  int heard[2];
  ASSERT_EQ(0, ::pipe(heard));
  const auto planted = as(member, [&] {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    in_root("pipe/ox_stdpipe").copy(address.sun_path, sizeof address.sun_path - 1);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
    const bool listens = ::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                         ::chmod(address.sun_path, 0777) == 0 && ::listen(socket, 5) == 0;
    if (listens && ::fork() == 0) {
      char byte = 'n';
      const int client = ::accept(socket, nullptr, nullptr);
      const ssize_t got = ::read(client, &byte, 1);
      byte = got > 0 ? 'y' : 'n';
      (void)!::write(heard[1], &byte, 1);
      ::_exit(0);
    }
    return listens;
  });
  ASSERT_TRUE(planted->succeeded());
  EXPECT_TRUE(as(victim, [] { return Pipe().open("ox_stdpipe") == error_access_denied; })->succeeded());
  char byte = 'y';
  ASSERT_EQ(1, ::read(heard[0], &byte, 1));
  EXPECT_EQ('n', byte);
  for (const int end : heard) ::close(end);
}

// The words through which a process's trace is switched: its own account and root do, and root is led nowhere else.
TEST_F(Trust, OnlyRootReachesWhatAnotherAccountHasMade) {
  const auto target = as(owner, [] {
    static SharedBlock block;
    return block.create("switch", 16, Access::machine) == error_none;
  });
  ASSERT_TRUE(target->succeeded());
  std::array<std::byte, 4> words{std::byte{7}};
  const auto write = [&](const char* name, std::size_t size) {
    return SharedBlock::write_of(static_cast<std::uint32_t>(target->pid()), name, size, words);
  };
  for (const Account& other : attackers) {
    EXPECT_TRUE(as(other, [&] { return write("switch", 16) == error_access_denied; })->succeeded()) << other.name;
  }
  EXPECT_TRUE(as(owner, [&] {
                return write("switch", 16) == error_none && write("switch", 17) == error_access_denied &&
                       write("none", 16) == error_file_not_found;
              })->succeeded());
  test::set_environment("OXBASE_SYSTEM", root_.c_str());
  EXPECT_EQ(error_none, write("switch", 16));
  const std::string file = in_root("run/own/b.switch"), precious = test::work_dir() + "/precious";
  test::write_file(precious, std::string(16, 'p'));
  fs::remove(file);
  fs::create_symlink(precious, file);
  EXPECT_EQ(error_access_denied, write("switch", 16));
  fs::remove(file);
  fs::create_hard_link(precious, file);
  EXPECT_EQ(error_access_denied, write("switch", 16));
  EXPECT_EQ(std::string(16, 'p'), test::read_file(precious));
}

// In a folder where all members put theirs, as that of the traces.
TEST_F(Trust, AFileOfItsOwnIsNeverAnothers) {
  const std::string folder = in_root("tmp"), precious = in_root("precious"), trace = folder + "/trace";
  make_folder(folder, owner, 01777);
  const auto writes = [&] {
    std::FILE* const file = open_own_file(trace.c_str());
    return file != nullptr && std::fputs("x", file) >= 0 && std::fclose(file) == 0;
  };
  const struct {
    const char* what;
    std::function<bool()> plant;
    bool opened;
  } rows[] = {
      {"nothing", [] { return true; }, true},
      {"its own", [&] { return as(victim, writes)->succeeded(); }, true},
      {"a link", [&] { return ::symlink(precious.c_str(), trace.c_str()) == 0; }, false},
      {"a second name", [&] { return ::link(precious.c_str(), trace.c_str()) == 0; }, false},
      {"a pipe", [&] { return ::mkfifo(trace.c_str(), 0666) == 0; }, false},
      {"another's",
       [&] { return ::close(::open(trace.c_str(), O_CREAT, 0666)) == 0 && ::chmod(trace.c_str(), 0666) == 0; }, false}};
  test::write_file(precious, "precious");
  ASSERT_EQ(0, ::chown(precious.c_str(), victim.user, victim.group));
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    ASSERT_TRUE(row.plant());
    EXPECT_EQ(row.opened, as(victim, writes)->succeeded());
    EXPECT_EQ("precious", test::read_file(precious));
    if (row.opened) {
      EXPECT_EQ("x", test::read_file(trace));
    }
    (void)fs::remove(trace);
  }
}

// An account that has no runtime folder works all the same: what it makes has no name.
TEST_F(Trust, WithoutARuntimeFolderNothingIsNamed) {
  const auto manager = serve();
  ASSERT_TRUE(manager->succeeded());
  fs::permissions(runtime_of(victim), fs::perms{0777});
  EXPECT_TRUE(as(victim, [] {
                SharedBlock block;
                NamedEvent event;
                return finds_all() && own_folder(*root(), true).empty() &&
                       block.create("own", 10, Access::machine) == error_none &&
                       SharedBlock().open("own", Mode::read) == error_file_not_found &&
                       event.create("own", Access::machine) == error_none && event.wait(0) == error_timeout;
              })->succeeded());
}

// What lies beside an account's own block is not sought among what the manager offers, and the other way round.
TEST_F(Trust, WhatBelongsTogetherLiesTogether) {
  ASSERT_TRUE(serve()->succeeded());
  EXPECT_TRUE(as(victim, [] {
                SharedBlock own;
                SharedBlock offered;
                SharedBlock beside;
                return own.create("own", 10, Access::machine) == error_none &&
                       offered.open(tree, Mode::read) == error_none &&
                       beside.open_beside(offered, tree) == error_none &&
                       beside.open_beside(own, "own") == error_none &&
                       beside.open_beside(own, tree) == error_file_not_found &&
                       beside.open_beside(offered, "own") == error_file_not_found;
              })->succeeded());
}

// A process that has found its folder does not take another one for it.
TEST_F(Trust, AnOwnFolderBehindALinkIsNotFound) {
  ASSERT_TRUE(serve()->succeeded());
  EXPECT_TRUE(as(victim, [] {
                const fs::path runtime = runtime_of(victim);
                const fs::path folder = own_folder(*root(), true);
                fs::create_directory(runtime / "other");
                fs::create_directory_symlink("other", runtime / "link");
                const bool made = ::mkdir((runtime / "other" / folder.filename()).c_str(), 0700) == 0;
                test::set_environment("XDG_RUNTIME_DIR", (runtime / "link").c_str());
                return made && own_folder(*root(), false).empty();
              })->succeeded());
}

TEST_F(Trust, WhatIsOfferedStaysEqualAndIsReplacedInOneStep) {
  const auto first = serve();
  ASSERT_TRUE(first->succeeded());
  const std::string offered = in_root("run/b.Global%5Cox1120");
  struct stat before {
  }, after{};
  ASSERT_EQ(0, ::stat(offered.c_str(), &before));
  first->kill();
  const auto holder = as(victim, [] {  // or the number of the file would be free for the next
    static SharedBlock block;
    return block.open(tree, Mode::read) == error_none;
  });
  EXPECT_TRUE(holder->succeeded());
  const auto second = serve();
  ASSERT_TRUE(second->succeeded());
  ASSERT_EQ(0, ::stat(offered.c_str(), &after));
  EXPECT_EQ(before.st_ino, after.st_ino);
  second->kill();
  ASSERT_EQ(0, ::truncate(offered.c_str(), 50));
  EXPECT_TRUE(serve()->succeeded());
  ASSERT_EQ(0, ::stat(offered.c_str(), &after));
  EXPECT_NE(before.st_ino, after.st_ino);
  EXPECT_EQ(100, after.st_size);
}

}  // namespace
}  // namespace ox::platform
