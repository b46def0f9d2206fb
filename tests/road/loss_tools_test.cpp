// Tools outlive ten managers.
#include "tests/road/loss_road.h"

namespace ox::test {
namespace {

TEST_F(LossRoad, ToolsComeBackAndAPersistentWaitPrintsEveryEventOnce) {
  constexpr int restarts = 10;
  (void)run("oxset --add ruleEnt:day 11.13.1.0 day");
  Started persistent("oxevent wait --persistent night");
  Started plain("oxevent wait --memo memo9.");
  Started watch("oxget --watch ruleEnt:day 11.13.1.0");
  EXPECT_NE(std::string::npos, watch.until("day").find("day"));
  int number = 0;
  for (int i = 0; i < 600 && persistent.until("memo", 0).empty(); ++i) send(number++);  // until it listens
  for (int restart = 1; restart <= restarts; ++restart) {
    send(number++);
    lose_manager(restart % 2 == 0);
    daemon.start();
    send(number++);
    const std::string seen = persistent.until(memo(number - 1));
    EXPECT_EQ(restart, times(persistent.until("is gone", restart), "is gone")) << seen;
  }
  const std::string seen = persistent.until(memo(number - 1));
  int first = 0;
  while (first < number && times(seen, memo(first)) == 0) ++first;
  for (int i = first; i < number; ++i) EXPECT_EQ(1, times(seen, memo(i))) << i << " in " << seen;
  // These two may have slept through a manager.
  for (int i = 0; i < 600 && plain.until("memo9.", 0).find("memo9.") == std::string::npos; ++i) send(9);
  (void)run("oxset ruleEnt:day 11.13.1.0 night");
  EXPECT_NE(std::string::npos, watch.until("night").find("night"));
}

}  // namespace
}  // namespace ox::test
