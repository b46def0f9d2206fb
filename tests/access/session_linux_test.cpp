// Opening the session when the process has no descriptor left, and when its account may not reach the manager. A
// session and what its process forks; signals that the program waits for itself.
#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <thread>

#include "platform/machine_objects.h"
#include "platform/shared_block.h"
#include "tests/access/report_peer.h"
#include "tests/platform/forked.h"
#include "tests/support/registry.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

// Takes all descriptors of the process but some.
class Descriptors {
 public:
  Descriptors() {
    rlimit limit{};
    EXPECT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &limit));
    limit.rlim_cur = 100;
    EXPECT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &limit));
    for (int fd = ::dup(0); fd >= 0; fd = ::dup(0)) taken_.push_back(fd);
  }
  void give_one() {
    ::close(taken_.back());
    taken_.pop_back();
  }
  ~Descriptors() {
    while (!taken_.empty()) give_one();
  }
  Descriptors(const Descriptors&) = delete;
  Descriptors& operator=(const Descriptors&) = delete;

 private:
  std::vector<int> taken_;
};

TEST(Init, ErrorsOfTheSystemComeOutAsTheLibrarysCodes) {
  const Installation installation;
  ScriptedPeer peer;
  set_value("InitRetryCnt", 0u);
  ASSERT_EQ(0u, oxaInit(nullptr));  // what is loaded once is there from now on
  session().close();
  // The peer is in this process, too, and may have taken the one that was missing.
  OX_RESULT result = OX_OK;
  for (int i = 0; i < 5 && result == OX_OK; ++i) {
    Descriptors descriptors;
    for (result = 15; result != OX_OK && result != 142; descriptors.give_one()) result = oxaInit(nullptr);
    session().close();
  }
  EXPECT_EQ(142u, result);
}

TEST(Init, WhoMayNotReachTheManagerIsToldAtOnce) {
  if (::geteuid() != 0) GTEST_SKIP() << "NOT TESTED: acting as another account needs root";
  const Installation installation;
  ScriptedPeer peer;
  platform::MachineObjects offered;
  ASSERT_EQ(platform::error_none, offered.offer_event("Global\\OxWaitEvent"));
  set_value("InitRetryCnt", 60u);  // a minute
  ASSERT_EQ(0, ::chmod(system_root().c_str(), 0755));
  ASSERT_TRUE(::setgroups(0, nullptr) == 0 && ::setegid(2003) == 0 && ::seteuid(2003) == 0);
  const auto begin = std::chrono::steady_clock::now();
  const OX_RESULT result = oxaInit(nullptr);
  ASSERT_TRUE(::seteuid(0) == 0 && ::setegid(0) == 0);
  EXPECT_EQ(393u, result);
  EXPECT_GT(std::chrono::seconds(30), std::chrono::steady_clock::now() - begin);
}

void* open_request = nullptr;

// Nothing of the parent's session is the child's.
int finds_no_session() {
  if (oxaCompUnlock(1) != 14 || oxaDispatch(0) != 14 || oxaGetReportFd() != -1) return 1;
  return oxaClose(open_request) == 14 ? 0 : 2;
}

// What the parent holds keeps its name.
bool names_are_there() {
  platform::NamedEvent event;
  platform::SharedBlock block;
  return event.open("Global\\OxWaitEvent") == platform::error_none &&
         block.open("Global\\ox1120", platform::SharedBlock::Mode::read) == platform::error_none;
}

class ForkTest : public ReportTest {
 protected:
  void open_a_request() {
    peer.answer(reply_bytes({.source_id = 9}));
    ASSERT_EQ(0u, oxaAsyGet(nullptr, "a:b", "1", nullptr, 0, 0, on_report, this, &open_request));
    take_id();
  }
  void close_the_request() {
    peer.answer(reply_bytes({.error = 1}));
    EXPECT_EQ(0u, oxaClose(open_request));
  }
  static void OX_CALL on_report(void*, void* argument, dnode*, OX_RESULT) {
    auto& forked = static_cast<ForkTest*>(argument)->forked_in_callback;
    forked = fork();
    in_child = forked == 0;
  }

  pid_t forked_in_callback = 0;
  static inline bool in_child = false;
};

TEST_F(ForkTest, AChildHasNoSessionAndItsEndLeavesTheParentsAlone) {
  open_a_request();
  EXPECT_EQ(0, end_of(start_child(finds_no_session)));
  std::thread([] { EXPECT_EQ(0, end_of(start_child(finds_no_session))); }).join();
  EXPECT_EQ(0, end_of(start_child([] { return end_of(start_child(finds_no_session)); })));
  EXPECT_EQ(0, end_of(start_child([] { return 0; })));  // one that never calls
  answer({.command = 2});
  answer({.type = 6});
  dispatch();
  if (in_child) std::exit(finds_no_session());
  EXPECT_EQ(0, end_of(forked_in_callback));
  EXPECT_TRUE(names_are_there());
  close_the_request();
}

// The manager of the test serves one client at a time: it sees the end of the parent's connection, although the child
// lives, and serves the child's own.
TEST_F(ForkTest, AChildHoldsNothingOpenAndOpensItsOwn) {
  int go[2];
  ASSERT_EQ(0, pipe(go));
  const pid_t child = start_child([&] {
    char byte = 0;
    if (read(go[0], &byte, 1) != 1 || oxaInit(nullptr) != 0) return 1;
    return oxaCompUnlock(1) == 84 ? 0 : 2;
  });
  peer.answer(reply_bytes({.error = 83}));
  EXPECT_EQ(83u, oxaCompUnlock(1));
  session().close();
  ASSERT_EQ(0u, oxaInit(nullptr));
  session().close();
  peer.answer(reply_bytes({.error = 84}));
  ASSERT_EQ(1, write(go[1], "x", 1));
  EXPECT_EQ(0, end_of(child));
  ASSERT_EQ(0u, oxaInit(nullptr));
}

TEST(Signals, AreLeftToTheProgram) {
  sigset_t waited;
  sigset_t before;
  sigemptyset(&waited);
  sigaddset(&waited, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &waited, &before);
  const Installation installation;
  ScriptedPeer peer;  // its thread is the test's, and blocks the signal
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  ASSERT_EQ(0u, oxaInit(nullptr));
  pthread_sigmask(SIG_BLOCK, &waited, nullptr);
  for (int i = 0; i < 10; ++i) {
    ASSERT_EQ(0, kill(getpid(), SIGUSR1));
    const timespec patience{20, 0};
    EXPECT_EQ(SIGUSR1, sigtimedwait(&waited, nullptr, &patience));
  }
  session().close();
}

}  // namespace
}  // namespace ox::test
