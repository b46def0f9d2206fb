// A manager that dies in the middle of a request, and what many sessions leave behind. POSIX processes.
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <iterator>
#include <memory>
#include <thread>

#include <oxbase/oxc.h>

#include "tests/support/session_fixture.h"

namespace ox::test {
namespace {

std::ptrdiff_t open_descriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

TEST(KilledPeer, ARequestInFlightGives17) {
  int at_request[2];
  ASSERT_EQ(0, pipe(at_request));
  const pid_t child = fork();
  ASSERT_NE(-1, child);
  if (child == 0) {
    ScriptedPeer peer;
    peer.on_request([&] { (void)!write(at_request[1], "r", 1); });
    (void)!write(at_request[1], "s", 1);
    for (;;) pause();
  }
  char byte = 0;
  ASSERT_EQ(1, read(at_request[0], &byte, 1));  // it serves
  const Installation installation;
  ASSERT_EQ(0u, oxaInit(nullptr));
  std::thread killer([&] {
    ASSERT_EQ(1, read(at_request[0], &byte, 1));
    kill(child, SIGKILL);
  });
  EXPECT_EQ(17u, oxaGet(nullptr, "map:top", "11", nullptr, 0, 0, nullptr));
  killer.join();
  EXPECT_EQ(child, waitpid(child, nullptr, 0));
  EXPECT_EQ(14u, oxaGet(nullptr, "map:top", "11", nullptr, 0, 0, nullptr));
  session().close();
  close(at_request[0]);
  close(at_request[1]);
}

TEST(ManySessions, NothingIsLeftBehind) {
  const Installation installation;
  const auto peer = std::make_unique<ScriptedPeer>();
  peer->otherwise(reply_bytes({.error = 84}));
  std::ptrdiff_t descriptors = 0;
  std::uint32_t blocks = 0;
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(0u, oxaInit(nullptr));
    ASSERT_EQ(84u, oxaCompUnlock(1));
    if (i == 0) {
      descriptors = open_descriptors();
      blocks = oxcGetMemValue(1);
    }
    EXPECT_EQ(descriptors, open_descriptors()) << "session " << i;
    EXPECT_EQ(blocks, oxcGetMemValue(1)) << "session " << i;
    session().close();
  }
}

}  // namespace
}  // namespace ox::test
