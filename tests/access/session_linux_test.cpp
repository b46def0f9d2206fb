// Opening the session when the process has no descriptor left, and when its account may not reach the manager.
#include <grp.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>

#include "platform/machine_objects.h"
#include "tests/access/report_peer.h"
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

}  // namespace
}  // namespace ox::test
