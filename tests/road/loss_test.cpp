// The real manager goes, by force and in order, and comes back: what applications and tools see of it.
#include <chrono>

#include <oxbase/oxa.h>
#include <oxbase/oxe.h>

#include "access/session.h"
#include "tests/road/loss_road.h"

namespace ox::test {
namespace {

constexpr auto patience = std::chrono::seconds(60);

std::string told;
OX_RESULT OX_CALL on_events(void*, std::uint32_t, void* name, evmsg* list, OX_RESULT code) {
  told += static_cast<const char*>(name) + std::to_string(code) + ' ';
  (void)oxeEvmsgFree(list);
  return 0;
}
void OX_CALL on_report(void*, void*, dnode* list, OX_RESULT code) {
  if (list == nullptr) told += "get" + std::to_string(code) + ' ';
  (void)oxdFree(list);
}
void OX_CALL on_loss(std::uint32_t, OX_RESULT, std::uint32_t) { told += "lost "; }

TEST_F(LossRoad, AnApplicationThatOnlyWaitsIsToldAndComesBack) {
  char plain[] = "plain", kept[] = "kept";
  void *wait = nullptr, *persistent = nullptr, *request = nullptr;
  ASSERT_EQ(0u, oxaInit(on_loss));
  ASSERT_EQ(0u, oxeEventWaitOpen(nullptr, 0, on_events, plain, &wait));
  ASSERT_EQ(0u, oxaAsyGet(nullptr, "system:system", "obj.cmn.cmnName.0", nullptr, 0, 0, on_report, nullptr, &request));
  ASSERT_EQ(0u, oxeEventWaitOpenEx("loss", on_events, kept, &persistent));
  for (const bool by_force : {true, false}) {
    lose_manager(by_force);
    while (oxaDispatch(60000) == 0) {
    }
    EXPECT_EQ("plain17 get17 kept17 lost ", std::exchange(told, ""));
    daemon.start();
    while (oxaInit(on_loss) != 0) {
    }
    send(1);
    while (times(told, "0 ") < 2 && oxaDispatch(60000) == 0) {
    }
    EXPECT_TRUE(told == "plain0 kept0 " || told == "kept0 plain0 ") << told;
    told.clear();
  }
  EXPECT_EQ(0u, oxeEventWaitClose(wait));
  EXPECT_EQ(0u, oxeEventWaitCloseEx(persistent));
  EXPECT_EQ(0u, oxaClose(request));
  session().close();
}

TEST_F(LossRoad, ToolsThatDoNotComeBackFail) {
  const char* const lines[] = {"oxevent wait --no-reconnect --persistent stays", "oxevent wait --no-reconnect --traps",
                               "oxevent wait --timeout 2",
                               "oxget --watch --no-reconnect system:system obj.cmn.cmnName.0"};
  std::vector<std::unique_ptr<Started>> tools;
  for (const char* const line : lines) tools.push_back(std::make_unique<Started>(line));
  std::this_thread::sleep_for(std::chrono::seconds(1));
  lose_manager(true);
  for (const auto& tool : tools) {
    EXPECT_EQ(1, tool->process.wait(patience)) << read_text(tool->output);
    EXPECT_NE("", read_text(tool->output));
  }
}

}  // namespace
}  // namespace ox::test
