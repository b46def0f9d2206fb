// A real manager that the system gives no more descriptors.
#include <sys/resource.h>

#include <memory>
#include <thread>

#include "tests/road/daemon.h"
#include "tests/road/raw_client.h"
#include "tests/support/installation.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

TEST(Limits, WithoutDescriptorsAClientIsToldAndAcceptingGoesOn) {
  lay_down_installation();
  write_settings("GreetingTimeout:\t3600\n");
  const Daemon daemon;
  for (const rlim_t most : {60, 61}) {  // a client costs two: the last one finds none, or one too few
    const rlimit few{most, 100};
    ASSERT_EQ(0, ::prlimit(daemon.pid(), RLIMIT_NOFILE, &few, nullptr));
    std::vector<std::unique_ptr<RawClient>> clients;
    std::uint32_t code = 0;
    for (int i = 0; i < 100 && code == 0; ++i) {
      clients.push_back(std::make_unique<RawClient>());
      code = clients.back()->greeted();
    }
    EXPECT_EQ(5024u, code);
    EXPECT_GT(clients.size(), 5u);
    clients.pop_back();
    RawClient mute[2];  // take what is left
    for (int i = 0; i < 2; ++i) EXPECT_EQ(5024u, RawClient().greeted()) << "the reserve is not there";
    clients.resize(clients.size() / 2);
    for (int i = 0; i < 1000 && code != 0; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
      code = RawClient().greeted();
    }
    EXPECT_EQ(0u, code);
  }
  const std::string log = daemon.log();
  EXPECT_NE(std::string::npos, log.find("clients are refused: the system gives no more descriptors")) << log;
  EXPECT_LT(log.size(), 2000u) << log;
}

}  // namespace
}  // namespace ox::test
