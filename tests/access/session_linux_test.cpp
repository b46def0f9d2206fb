// Opening the session when the process has no descriptor left.
#include <sys/resource.h>
#include <unistd.h>

#include "tests/access/report_peer.h"
#include "tests/support/registry.h"

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

}  // namespace
}  // namespace ox::test
