// A program's own loop.
#include <poll.h>

#include <oxbase/oxa.h>

#include "access/session.h"
#include "tests/road/daemon.h"

namespace ox::test {
namespace {

constexpr int patience = 60'000;  // milliseconds

int losses = 0;
void OX_CALL on_loss(std::uint32_t, OX_RESULT code, std::uint32_t) { losses += code == 17 ? 1 : 100; }
int refusals = 0;
void OX_CALL on_report(void*, void*, dnode* list, OX_RESULT code) {
  refusals += code == 0 ? 0 : code == 17 ? 1 : 100;
  (void)oxdFree(list);
}

// The program waits by itself, and calls the library for the first time when the descriptor says so.
TEST(LossRoad, AProgramsOwnPollSeesTheEndOfTheConnection) {
  Daemon daemon;
  for (const bool by_force : {true, false}) {
    void* request = nullptr;
    ASSERT_EQ(0u, oxaInit(on_loss));
    ASSERT_EQ(0u, oxaAsyGet(nullptr, "system:system", "11.1.1.0", nullptr, 64, 0, on_report, nullptr, &request));
    pollfd own{static_cast<int>(oxaGetReportFd()), POLLIN, 0};
    ASSERT_EQ(0, ::poll(&own, 1, 0));
    daemon.lose(by_force);
    EXPECT_EQ(1, ::poll(&own, 1, patience));
    for (int turn = 0; turn < 100 && oxaDispatch(0) == 0; ++turn) {
    }
    EXPECT_EQ(14u, oxaDispatch(0));
    EXPECT_EQ(1, std::exchange(losses, 0));
    EXPECT_EQ(1, std::exchange(refusals, 0));
    EXPECT_EQ(14u, oxaClose(request));
    daemon.start();
  }
  session().close();
}

}  // namespace
}  // namespace ox::test
