// Rules on the road: a real manager, the expert daemon and the threshold rule; and an expert daemon that is killed at
// any moment.
#include <algorithm>
#include <cstdlib>
#include <random>
#include <sstream>

#include "platform/environment.h"
#include "platform/process_list.h"
#include "tests/road/daemon.h"
#include "tests/support/registry.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

constexpr int rules = 20;

std::string file_of_runs() { return system_root() + "/runs"; }

int kills() { return number_from("OX_KILLS", OX_RULE_KILLS); }

// A process; numbers alone are given again.
struct Process {
  std::uint32_t id = 0;
  std::uint64_t start = 0;
};

std::vector<Process> started() {
  std::vector<Process> all;
  std::istringstream lines(read_text(file_of_runs()));
  for (Process one; lines >> one.id >> one.start;) all.push_back(one);
  return all;
}

void expect_gone(const std::vector<Process>& programs) {
  const auto lives = [](const Process& one) { return platform::start_of_process(one.id) == one.start; };
  for (int i = 0; i < 3000; ++i) {
    if (std::none_of(programs.begin(), programs.end(), lives)) return;
    platform::sleep_ms(10);
  }
  ADD_FAILURE() << "programs of the daemon that was killed are left";
}

// As long as a daemon needs for it, a minute at most.
void expect_started(std::size_t programs) {
  for (int i = 0; i < 6000 && started().size() < programs; ++i) platform::sleep_ms(10);
  EXPECT_LE(programs, started().size());
}

TEST(RuleRoad, ThresholdTellsOfACrossingAndOfTheReturn) {
  set_value("RulePath", OX_RULES);
  Daemon daemon;
  const Started expert("oxexpd --foreground");
  (void)expert.until("following the rules");
  const std::string path = "obj.node.nodeTimeout.0", set = "oxset node:x " + path + ' ';
  expect({{"oxset --add node:x " + path + " 5", "0 "},
          {"oxrule create threshold " + path + ">10/7 " + path + "<2 --target node:x -i 1 --level 3 -n t", "0 t\n"}});
  const auto events = [](int count) {
    std::string all;
    for (int i = 0; i < 2000 && count_of(all, "rule t") < count; ++i) {
      platform::sleep_ms(20);
      all = run("oxevent log list");
    }
    return all;
  };
  (void)expert.until("rule t: started");
  (void)run(set + "12");
  expect_parts(events(1), {"  103  ", path + " is 12, over 10"});
  expect({{"oxrule stop t", "0 "}});
  (void)expert.until("rule t: stopped");
  expect({{"oxrule start t", "0 "}});  // it remembers what it has told
  (void)expert.until("rule t: started", 2);
  (void)run(set + "9");
  platform::sleep_ms(2500);
  EXPECT_EQ(1, count_of(run("oxevent log list"), "rule t"));
  (void)run(set + "1");
  expect_parts(events(3), {path + " is 1, not over 7 any more", path + " is 1, under 2"});
  EXPECT_NE(std::string::npos, run("oxevent log list --json").find("\"refEventId\":1,"));
  expect({{"oxrule show t", "~0 \nSTATE            runs\n"}, {"oxrule show nobody", "~1 next: oxrule list"}});
  (void)run("oxset node:x obj.node.nodeRetries.0 100");
  (void)run("oxlog create node:x obj.node.nodeRetries.0 -i 1s --start");
  (void)run("oxrule create threshold obj.node.nodeRetries.0>99 --target logEnt:logEnt1 -i 1 --level 2 -n collected");
  for (int i = 0; i < 1000 && count_of(run("oxevent log list"), "is 100, over 99") == 0; ++i) platform::sleep_ms(20);
  expect_parts(run("oxevent log list"), {"  102  ", "rule collected"});
  daemon.kill();
  (void)expert.until("the manager cannot be reached");
  daemon.start();
  (void)expert.until("following the rules", 2);
  (void)run(set + "13");
  expect_parts(events(5), {path + " is 13, over 10"});
  expect({{"oxrule delete t", "0 "}});
  (void)expert.until("rule t: stopped", 2);
  expect({{"oxrule create threshold nonsense --json", "0 {\n  \"ruleEnt\": \"ruleEnt1\"\n}\n"},
          {"oxrule create x --schedule 25", "~1 --schedule: error 70: "},
          {"oxrule create threshold -n ruleEnt1", "~1 ruleEnt:ruleEnt1: error 207: "}});
  (void)expert.until("starts again after 1 s");
  expect({{"oxrule log ruleEnt1", "~0 \"nonsense\" is no condition: "},
          {"oxrule list", "~0 \nruleEnt1   threshold  -  "}});
  expect({{"oxrule delete collected", "0 "}});  // it would outlive the test
  (void)expert.until("rule collected: stopped");
}

TEST(RuleRoad, NoneRunsTwiceOrIsLeftWhenTheDaemonIsKilled) {
  set_value("RulePath", OX_TEST_RULES);
  set_environment("FOREIGN", "no rule sees it");
  std::string file = file_of_runs();
  std::replace(file.begin(), file.end(), '\\', '/');
  write_file(file, "");
  Daemon daemon;
  for (int i = 0; i < rules; ++i) {
    const std::string rule = "ruleEnt:r" + std::to_string(i);
    const std::string seconds = i < 2 ? "1" : "60";  // some end by themselves
    expect(
        {{"oxset --add " + rule + " 11.13.1.0 noted_rule 11.13.3.0 " + file + " 11.13.4.0 " + seconds + " 11.13.7.0 1",
          "0 "}});
  }
  std::minstd_rand random{static_cast<unsigned>(std::random_device()())};
  for (int round = 0; round < kills() && !HasFailure(); ++round) {
    SCOPED_TRACE(round);
    const auto before = started();
    Started expert("oxexpd --foreground");
    if (round % 2 == 0) expect_started(before.size() + rules);
    platform::sleep_ms(static_cast<std::uint32_t>(random() % 1500));
    expect_gone(before);
    expert.process.kill();
    EXPECT_EQ(std::string::npos, read_text(file_of_runs()).find("twice"));
  }
  const auto left = started();
  Started last("oxexpd --foreground");
  expect_started(left.size() + rules);
  expect_gone(left);
  EXPECT_EQ(std::string::npos, read_text(file_of_runs()).find("twice"));
  for (int i = 0; i < rules; ++i) (void)run("oxset ruleEnt:r" + std::to_string(i) + " 11.13.7.0 0");
  expect_gone(started());
  last.process.kill();
  std::printf("%d kills, %zu starts\n", kills(), started().size());
}

}  // namespace
}  // namespace ox::test
