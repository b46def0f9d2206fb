// Log entries at work, second by second, on an agent that answers as it is told to.
#include <gtest/gtest-spi.h>

#include "manager/snmp/agent.h"
#include "tests/manager/event_fixture.h"
#include "tests/manager/scripted_agent.h"
#include "tests/support/system_root.h"
#include "tests/support/texts.h"

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
  [[nodiscard]] Agent agent_of_r1() const {
    Agent agent;
    EXPECT_EQ(0u, agent_of(manager_->store, {"node", "r1"}, settings_, agent));
    return agent;
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
  (void)ask("set node:r2 11.5.6.0 1500 node:r2 11.5.7.0 0 node:r2 11.5.1.0 127.0.0.1 node:r2 11.5.2.0 " +
            std::to_string(mute.port()));
  {
    const std::lock_guard lock(agent_.changing);
    agent_.values.erase(*parse_oid("1.3.6.1.2.1.2.2.1.8.2"));
  }
  run_rounds(3);
  const Counts second = counts();
  EXPECT_TRUE(second.balanced());
  const std::uint64_t rounds = (second.gaps - 1) / 3;  // three columns and an instance of the silent one, and the row
  EXPECT_EQ(1 + 3 * rounds, second.gaps);
  EXPECT_GE(rounds, 2u);
  EXPECT_EQ("2>7 system:system 10.6.9.0 = ERROR 158 \"a\" \"node:r2\" 1.3.6.1.2.1.2.1.0", fetch());
  EXPECT_EQ("nothing", fetch()) << "told once";
  expect({{"get logEnt:a 11.14.19.{1.0,5.1,6.0}",
           "0; logEnt:a 11.14.19.1.0 = 3; logEnt:a 11.14.19.5.1 = node:r2 silent; logEnt:a 11.14.19.6.0 = 345600"}});
  run_rounds(1);
  const std::string reasons = ask("get logEnt:a 11.14.18.4");
  EXPECT_EQ(3, test::count_of(reasons, "= 1")) << "asked once, with all its values: " << reasons;
  EXPECT_EQ(3, test::count_of(reasons, "= 8")) << "then one run each: " << reasons;
  EXPECT_EQ(7, test::count_of(reasons, "= ")) << reasons;
  (void)ask("6 1=node 8=r2");
  expect({{"get logEnt:a 11.14.19.1.0", "0; logEnt:a 11.14.19.1.0 = 2"}});
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
  (void)ask("set node:r1 11.5.6.0 3000");  // milliseconds: this machine may be busy
  make_entry();
  run_rounds(1);
  const Counts before = counts();
  const std::uint32_t last = entry().last_collected;
  restart(std::chrono::milliseconds(3100));
  while (manager_->collector.find({"logEnt", "a"}) == nullptr) run_for(std::chrono::milliseconds(20));
  run_rounds(2);
  const Counts after = counts();
  // Five values of a round are stored, or it is a gap, of which columns whose rows are not known are one each.
  const std::uint64_t rounds = entry().last_collected - last;
  const std::uint64_t stored = (after.stored - before.stored) / 5;
  const std::uint64_t gaps = after.gaps - before.gaps;
  EXPECT_TRUE(after.balanced() && gaps >= 3) << gaps;
  EXPECT_LE(rounds, stored + gaps / 3);
  EXPECT_GE(rounds, stored + gaps / 5);
  expect({{"get logEnt:a 11.14.{11,13}.0", "0; logEnt:a 11.14.11.0 = dataEnt1; logEnt:a 11.14.13.0 = 1"}});

  std::this_thread::sleep_for(std::chrono::milliseconds(3100));  // the loop is held up, or an agent is slow
  run_rounds(3);
  const Counts busy = counts();
  EXPECT_TRUE(busy.balanced());
  EXPECT_EQ(0u, (busy.gaps - after.gaps) % 5) << "all of a round that overran, and nothing of the one before";
  EXPECT_GT(busy.gaps, after.gaps);
}

TEST_F(CollectorTest, OnlyWhatTheEntryHasCollectedItselfExpires) {
  make_entry();
  (void)ask("5 1=logEnt 8=b");
  (void)ask("set logEnt:a 11.14.8.0 1s logEnt:a 11.14.9.0 1s");
  run_rounds(4);  // a data entry each, but for the first
  (void)ask("set logEnt:a 11.14.10.0 1");
  run_for(std::chrono::milliseconds(200));
  const std::string of = "4=logEnt-dataEnt 2=logEnt 3=dataEnt ";
  expect({{"8 " + of + "9=b 10=dataEnt2", "0"},
          {"9 " + of + "9=a 10=dataEnt2", "0"},
          {"5 1=dataEnt 8=copy", "0; dataEnt:copy 10.7.8.0 = copy"},
          {"200 2=dataEnt 9=dataEnt2 3=dataEnt 10=copy", "0"},
          {"8 " + of + "9=a 10=copy", "0"},
          {"set dataEnt:copy 11.15.8.0 3 dataEnt:copy 11.15.12.0 1",
           "0; dataEnt:copy 11.15.8.0; dataEnt:copy 11.15.12.0"}});
  const auto left = [this] {
    std::string names;
    for (const char* const name : {"dataEnt1", "dataEnt2", "dataEnt3", "copy"}) {
      if (manager_->store.has(ComponentName{"dataEnt", name})) names += std::string(name) + ' ';
    }
    return names;
  };
  (void)ask("set logEnt:a 11.14.9.0 1D logEnt:a 11.14.10.0 2");
  manager_->collector.look_after();
  run_for(std::chrono::milliseconds(1500));
  EXPECT_EQ("dataEnt1 dataEnt2 dataEnt3 copy ", left()) << "not before its time";
  (void)ask("set logEnt:a 11.14.9.0 1s");
  manager_->collector.look_after();
  run_for(std::chrono::milliseconds(1000));
  EXPECT_EQ("dataEnt2 copy ", left());
}

TEST_F(CollectorTest, TheScheduleIsWhenItCollectsOrWhenItDoesNot) {
  const auto hour = static_cast<unsigned>(std::time(nullptr) / 3600 + 12) % 24;  // not now
  const std::string schedule = std::to_string(hour) + ":00:00-" + std::to_string(hour) + ":30:00";
  make_entry();
  run_rounds(1);
  (void)ask("set logEnt:a 11.14.16.0 " + schedule + " logEnt:a 11.14.17.0 0");
  run_for(std::chrono::milliseconds(500));
  const std::uint32_t last = entry().last_collected;
  run_for(std::chrono::milliseconds(2200));
  EXPECT_EQ(last, entry().last_collected);
  (void)ask("set logEnt:a 11.14.17.0 1");
  run_for(std::chrono::milliseconds(3000));
  EXPECT_LT(last, entry().last_collected);
}

TEST_F(CollectorTest, ADiskThatIsNearlyFullIsToldAndThenNothingIsCollected) {
  std::string text;
  for (const std::uintmax_t use : {89, 90, 96, 97}) {
    restart();
    manager_->disk_space = [use] { return std::filesystem::space_info{1000, 1000 - 10 * use, 1000 - 10 * use}; };
    const Sequence before = manager_->events.store().last();
    if (use == 89) make_entry();
    const auto stored = [this] { return manager_->series.find("dataEnt1") != 0 ? counts().stored : 0; };
    const std::uint64_t had = stored();
    run_for(std::chrono::milliseconds(2600));
    text += std::to_string(use) + (stored() > had ? " collects" : " pauses");
    if (manager_->events.store().last() > before) text += " with an event";
    text += "; ";
  }
  EXPECT_EQ("89 collects; 90 collects with an event; 96 collects with an event; 97 pauses with an event; ", text);
  EXPECT_NE(0, test::count_of(ask("get logEnt:a 11.14.18.4"), "= 10"));
  EXPECT_TRUE(counts().balanced());
}

TEST_F(CollectorTest, WhatIsKnownOutlivesTheManagerAndAFullDiskIsAGap) {
  agent_.most_bindings = 4;
  make_entry();
  run_rounds(4);
  const std::uint32_t learned = manager_->asker.agents().known(agent_of_r1())->learned();
  EXPECT_TRUE(learned >> 8 >= 1 && learned >> 8 <= 4) << learned;
  manager_->collector.remember_agents();
  run_for(std::chrono::milliseconds(100));
  const std::string answers = "10.103.11.127.0.0.1." + agent_.port();
  EXPECT_NE("122", ask("get system:system " + answers));
  EXPECT_EQ("125", ask("get node:r1 11.5.102.0").substr(0, 3)) << "no attribute";
  restart();
  while (manager_->collector.find({"logEnt", "a"}) == nullptr) run_for(std::chrono::milliseconds(20));
  EXPECT_EQ(learned, manager_->asker.agents().find(agent_of_r1())->learned());

  run_rounds(1);
  Connection other;
  ASSERT_EQ(Outcome::done, other.open(test::work_dir() + "/data/collected.db", Durability::process));
  ASSERT_EQ(Outcome::done, other.run("BEGIN IMMEDIATE"));
  const EntryId big = manager_->series.make("big", "");
  const std::string large(60000, 'x');
  const std::uint32_t round = manager_->series.begin_round(big, 1);
  for (std::uint32_t item = 0; item < 300; ++item) {
    (void)manager_->series.put(big, round, manager_->series.series(big, {0, 0, item}), 0, OX_OCTETSTRING,
                               std::as_bytes(std::span(large)));
  }
  EXPECT_NONFATAL_FAILURE(run_for(std::chrono::milliseconds(3000)), "takes no changes");
  ASSERT_EQ(Outcome::done, other.run("ROLLBACK"));
  EXPECT_NONFATAL_FAILURE(run_rounds(2), "takes changes again");
  EXPECT_TRUE(counts().balanced());
  EXPECT_EQ(1, test::count_of(ask("get logEnt:a 11.14.18.4"), "= 10"));
}

}  // namespace
}  // namespace ox::manager
