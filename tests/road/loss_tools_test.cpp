// Tools beside managers that go and come back.
#include <thread>

#include "tests/road/daemon.h"

namespace ox::test {
namespace {

std::string memo(int number) { return "memo" + std::to_string(number) + "."; }
void send(int number) {
  const std::string sent = run("oxevent send --memo " + memo(number));
  EXPECT_EQ(0u, sent.find("0 ")) << sent;
}

TEST(LossRoad, ToolsComeBackAndAPersistentWaitPrintsEveryEventOnce) {
  constexpr int restarts = 4;  // by force and in order, twice each
  Daemon daemon;
  (void)run("oxset --add ruleEnt:day 11.13.1.0 day");
  Started persistent("oxevent wait --persistent night");
  Started plain("oxevent wait --memo memo9.");
  Started watch("oxget --watch ruleEnt:day 11.13.1.0");
  EXPECT_NE(std::string::npos, watch.until("day").find("day"));
  int number = 0;
  for (int i = 0; i < 600 && persistent.until("memo", 0).empty(); ++i) send(number++);  // until it listens
  for (int restart = 1; restart <= restarts; ++restart) {
    send(number++);
    daemon.lose(restart % 2 == 0);
    daemon.start();
    send(number++);
    const std::string seen = persistent.until(memo(number - 1));
    EXPECT_EQ(restart, count_of(persistent.until("is gone", restart), "is gone")) << seen;
  }
  const std::string seen = persistent.until(memo(number - 1));
  int first = 0;
  while (first < number && count_of(seen, memo(first)) == 0) ++first;
  for (int i = first; i < number; ++i) EXPECT_EQ(1, count_of(seen, memo(i))) << i << " in " << seen;
  // These two may have slept through a manager.
  for (int i = 0; i < 600 && plain.until("memo9.", 0).find("memo9.") == std::string::npos; ++i) send(9);
  (void)run("oxset ruleEnt:day 11.13.1.0 night");
  EXPECT_NE(std::string::npos, watch.until("night").find("night"));
}

TEST(LossRoad, ToolsThatDoNotComeBackFail) {
  const char* const lines[] = {"oxevent wait --no-reconnect --persistent stays", "oxevent wait --no-reconnect --traps",
                               "oxevent wait --timeout 2",
                               "oxget --watch --no-reconnect system:system obj.cmn.cmnName.0"};
  Daemon daemon;
  std::vector<Started> tools(std::begin(lines), std::end(lines));
  std::this_thread::sleep_for(std::chrono::seconds(1));
  daemon.kill();
  for (Started& tool : tools) EXPECT_NE("", tool.end(1));
}

}  // namespace
}  // namespace ox::test
