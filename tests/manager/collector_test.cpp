// Log entries at work, second by second, on an agent that answers as it is told to.
#include "manager/snmp/agent.h"
#include "tests/manager/event_fixture.h"
#include "tests/manager/scripted_agent.h"

namespace ox::manager {
namespace {

class CollectorTest : public EventManagerTest {
 protected:
  void SetUp() override {
    settings_.snmp_timeout = 100;
    settings_.snmp_retries = 1;
    ManagerTest::SetUp();
    (void)ask("5 1=node 8=r1");
    (void)ask("set node:r1 11.5.1.0 127.0.0.1 node:r1 11.5.2.0 " + agent_.port());
    const std::lock_guard lock(agent_.changing);
    for (const char* const name : {"1.0", "2.1.7.1", "2.1.7.2", "2.1.8.1", "2.1.8.2"}) {
      agent_.values[*parse_oid(std::string("1.3.6.1.2.1.2.") + name)] = 5;
    }
  }
  void make_entry() {
    expect({{"5 1=logEnt 8=a", "0; logEnt:a 10.7.8.0 = a"},
            {"set logEnt:a 11.14.10.0 2", "195; logEnt:a 11.14.10.0 ! 195"},
            {"set logEnt:a 11.14.7.0 5x", "70; logEnt:a 11.14.7.0 ! 70"}});
    ASSERT_EQ('0', ask("set logEnt:a 11.14.4.0 node:* logEnt:a 11.14.5.0 .2.1.0,.2.2.1.{7,8} logEnt:a 11.14.7.0 1s "
                       "logEnt:a 11.14.8.0 1Y logEnt:a 11.14.9.0 1Y logEnt:a 11.14.10.0 2")[0]);
  }
  [[nodiscard]] const LogCollection& entry() const { return *manager_->collector.find({"logEnt", "a"}); }
  [[nodiscard]] Counts counts() const { return manager_->series.counts(manager_->series.find("dataEnt1")); }
  // Until so many rounds more are safe.
  void run_rounds(int rounds) {
    for (std::uint32_t last = entry().last_collected; rounds > 0; last = entry().last_collected) {
      while (entry().last_collected == last) {
        loop_.restart();
        (void)loop_.run_one();
      }
      --rounds;
    }
  }
  void run_for(std::chrono::milliseconds time) {
    loop_.restart();
    (void)loop_.run_for(time);
  }

  ScriptedAgent agent_;
};

TEST_F(CollectorTest, EveryValueThatIsDueIsStoredOrAGap) {
  make_entry();
  expect({{"get logEnt:a 11.14.3.0", "0; logEnt:a 11.14.3.0 = 1"}});
  (void)watch("system:system", "10.6.9.0", 7);
  run_rounds(2);
  const Counts first = counts();
  EXPECT_TRUE(first.balanced() && first.gaps == 0 && first.stored >= 10 && first.stored % 5 == 0) << first.stored;
  EXPECT_EQ("nothing", fetch());

  // A component that joins, and does not answer; a row that goes.
  const test::UdpSocket mute;
  (void)ask("5 1=node 8=r2");
  (void)ask("set node:r2 11.5.1.0 127.0.0.1 node:r2 11.5.2.0 " + std::to_string(mute.port()));
  {
    const std::lock_guard lock(agent_.changing);
    agent_.values.erase(*parse_oid("1.3.6.1.2.1.2.2.1.8.2"));
  }
  run_rounds(3);
  const Counts second = counts();
  EXPECT_TRUE(second.balanced());
  const std::uint64_t rounds = (second.gaps - 1) / 3;  // three columns and an instance of the silent one, and the row
  EXPECT_EQ(1 + 3 * rounds, second.gaps);
  EXPECT_TRUE(rounds == 2 || rounds == 3) << rounds;
  EXPECT_EQ("2>7 system:system 10.6.9.0 = ERROR 158 \"a\" \"node:r2\" 1.3.6.1.2.1.2.1.0", fetch());
  EXPECT_EQ("nothing", fetch()) << "told once";
  (void)ask("get logEnt:a 11.14.19");
  run_for(std::chrono::milliseconds(500));
  expect({{"get logEnt:a 11.14.19.{1.0,5.1,6.0}",
           "0; logEnt:a 11.14.19.1.0 = 3; logEnt:a 11.14.19.5.1 = node:r2 silent; logEnt:a 11.14.19.6.0 = 345600"}});
  run_for(std::chrono::milliseconds(300));
  EXPECT_EQ("0; logEnt:a 11.14.15.0 = " + std::to_string(entry().failed), ask("get logEnt:a 11.14.15.0"));

  (void)ask("set logEnt:a 11.14.10.0 3");
  run_for(std::chrono::milliseconds(1500));
  const std::uint32_t last = entry().last_collected;
  expect({{"get dataEnt:dataEnt1 11.15.{1,3,8}.0",
           "0; dataEnt:dataEnt1 11.15.1.0 = ; dataEnt:dataEnt1 11.15.3.0 = 1; dataEnt:dataEnt1 11.15.8.0 = 3"},
          {"get logEnt:a 11.14.12.0", "0; logEnt:a 11.14.12.0 = " + std::to_string(last)},
          {"10 4=logEnt-dataEnt 1=logEnt 8=a", "0; : 10.7.7.0 = dataEnt:dataEnt1"},
          {"14 1=logEnt 8=a", "0"}});
  run_for(std::chrono::milliseconds(500));
  expect({{"get dataEnt:* 11.15.3.0", "122"}});
}

TEST_F(CollectorTest, WhatIsNotCollectedInTimeIsAGap) {
  make_entry();
  run_rounds(1);
  const Counts before = counts();
  const std::uint32_t last = entry().last_collected;
  restart(std::chrono::milliseconds(3100));
  while (manager_->collector.find({"logEnt", "a"}) == nullptr) run_for(std::chrono::milliseconds(20));
  run_rounds(2);
  const Counts after = counts();
  const std::uint64_t down = (after.gaps) / 3;  // columns of unknown rows count one each
  EXPECT_TRUE(after.balanced() && after.gaps == 3 * down && down >= 1) << after.gaps;
  EXPECT_EQ(after.stored, before.stored + 5 * (entry().last_collected - last - down));
  expect({{"get logEnt:a 11.14.{11,13}.0", "0; logEnt:a 11.14.11.0 = dataEnt1; logEnt:a 11.14.13.0 = 1"}});

  std::this_thread::sleep_for(std::chrono::milliseconds(3100));  // the loop is held up, or an agent is slow
  run_rounds(3);
  const Counts busy = counts();
  EXPECT_TRUE(busy.balanced());
  EXPECT_EQ(0u, (busy.gaps - after.gaps) % 5) << "all of a round that overran, and nothing of the one before";
  EXPECT_GT(busy.gaps, after.gaps);
}

}  // namespace
}  // namespace ox::manager
