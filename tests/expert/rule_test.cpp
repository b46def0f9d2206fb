// What the expert daemon does with one rule, by a clock that the tests turn; and what it finds of one that was killed.
#include "expert/rule.h"

#include <csignal>
#include <cstdlib>

#include "platform/environment.h"
#include "platform/named_event.h"
#include "platform/process_list.h"
#include "platform/service.h"
#include "tests/entries/entry_peer.h"
#include "tests/support/other_process.h"
#include "tests/support/registry.h"
#include "tests/support/texts.h"

namespace ox::test {
namespace {

using expert::Time;
using namespace std::chrono_literals;

// Whether the program that does this lives, or comes to.
bool lives(int todo, bool expected) {
  const std::string name = "OxTestRule" + std::to_string(todo);
  bool found = !expected;
  for (int i = 0; i < 2000 && found != expected; ++i) {
    found = platform::NamedMutex().open(name.c_str()) == platform::error_none;
    if (found != expected) platform::sleep_ms(10);
  }
  return found;
}

// Started as "--process rule Interval Level Argument": its interval says what it does.
int rule_program(OtherProcess& owner) {
  const int todo = std::stoi(owner.text());
  std::printf("does %d\n", todo);
  (void)std::fflush(stdout);
  if (todo == 1) return 6;
  platform::NamedMutex mark;  // goes with the process
  if (todo >= 3) (void)std::signal(SIGTERM, SIG_IGN);
  if (todo > 3 && mark.create(("OxTestRule" + std::to_string(todo)).c_str(), platform::Access::machine) != 0) return 7;
  if (todo == 2 && oxrWindowOpen("--process") != OX_OK) return 7;
  std::printf("is ready\n");
  (void)std::fflush(stdout);
  for (int i = 0; i < 6000 && oxrWindowAsked() == 0; ++i) platform::sleep_ms(10);
  return oxrWindowClose() == OX_OK ? 5 : 7;
}

// A daemon with a program that it has noted, and one that it has not come to note; then it is gone, without a word.
int lost_daemon(OtherProcess& owner) {
  platform::NamedMutex mark;
  expert::RunFile file(owner.text());
  if (mark.create("OxTestRule6", platform::Access::machine) != 0 || !file.take_over()) return 1;
  for (const int todo : {4, 5}) {
    oxcProcess* process = nullptr;
    const std::string line = '"' + own_program() + "\" --process rule " + std::to_string(todo);
    if (oxcCreateProcess(nullptr, line.c_str(), 0, nullptr, &process) != OX_OK) return 2;
    if (todo == 4) file.note("noted", {oxcProcessId(process), platform::start_of_process(oxcProcessId(process))});
  }
  for (const int todo : {4, 5}) {
    if (!lives(todo, true)) return 3;
  }
  std::_Exit(9);
}
[[maybe_unused]] const bool declared =
    OtherProcess::declare("rule", rule_program) && OtherProcess::declare("lost daemon", lost_daemon);

// The library's table of programs is there from the start.
struct ProcessTable {
  ProcessTable() { EXPECT_EQ(1u, oxrStart(nullptr)); }
};

class ExpertRuleTest : ProcessTable, public EntryTest {
 protected:
  void SetUp() override {
    EntryTest::SetUp();
    const std::string program = own_program();
    const std::size_t name = program.find_last_of("/\\") + 1;
    set_value("RulePath", (name != 0 ? program.substr(0, name - 1) : ".").c_str());
    program_ = program.substr(name);
    if (program_.ends_with(".exe")) program_.resize(program_.size() - 4);
  }
  void TearDown() override {
    rule.give_up(now);
    for (int i = 0; i < 1000 && rule.has_program(); ++i) {
      rule.give_up(now += 1s);
      platform::sleep_ms(10);
    }
  }
  // What the manager has of the rule from now on: the program that `todo` says, and more.
  void has(int todo, const std::string& more, const std::string& schedule = "") {
    const std::string all =
        "11='" + schedule + "' 1='" + program_ + "' 3='rule' 4=" + std::to_string(todo) + ' ' + more;
    peer.otherwise(reply_bytes({.data = nodes("ruleEnt:--process", "11.13", all)}));
  }
  bool turn(std::uint32_t running = 0) {
    (void)oxrProcessCheck();
    rule.turn(now, running);
    return rule.has_program();
  }
  void wait_for_end() {
    for (int i = 0; i < 2000 && rule.runs() && oxrProcessCheck() == 0; ++i) platform::sleep_ms(10);
  }
  void wait_until_ready(int times) const {
    for (int i = 0; i < 2000 && count_of(read_text(output), "is ready") < times; ++i) platform::sleep_ms(10);
  }
  // Everything that was asked and written since the last call.
  std::string written() {
    std::string all;
    for (const std::string& request : peer.requests()) all += request;
    return all;
  }

  Time now{};
  expert::Rule rule{"--process", work_dir()};
  const std::string output = work_dir() + "/rule---process.out";
  std::string program_;
};

TEST_F(ExpertRuleTest, IsStartedAgainAfterAPause) {
  has(1, "7=1");
  ASSERT_TRUE(turn());
  struct Row {
    Time life, pause;
  };
  const Row rows[] = {{0s, 1s},   {1s, 2s},   {599s, 4s}, {0s, 8s},     {0s, 16s},  {0s, 32s}, {0s, 64s},
                      {0s, 128s}, {0s, 256s}, {0s, 300s}, {599s, 300s}, {600s, 1s}, {0s, 2s}};
  for (const Row& row : rows) {
    SCOPED_TRACE(row.pause.count());
    wait_for_end();
    now += row.life;
    EXPECT_FALSE(turn());
    now += row.pause - 1ms;
    EXPECT_FALSE(turn());
    now += 1ms;
    ASSERT_TRUE(turn());
  }
  expect_parts(written(), {"ended with exit status 6; starts again after 1 s", "does 1", "starts again after 300 s"});
  wait_for_end();
  EXPECT_FALSE(turn());
  rule.tell(expert::Rule::anything | expert::Rule::admin);
  EXPECT_TRUE(turn()) << "who asks for it again does not wait";
}

TEST_F(ExpertRuleTest, RunsAsAskedFor) {
  platform::ServiceMark commands;
  ASSERT_EQ(0u, commands.hold("Oxcmd"));
  const std::string times = "8:0:0-12:0:0";
  constexpr unsigned none = 0, some = expert::Rule::anything, admin = some | expert::Rule::admin,
                     request = some | expert::Rule::request;
  struct Row {
    unsigned told;
    std::string attributes, schedule;
    bool runs;
  };
  const Row rows[] = {
      {none, "7=0 10=0", "", false},          {admin, "7=1 10=0", "", true},
      {request, "7=1 10=0", "", false},       {some, "7=1 10=0", "", false},
      {request, "7=1 10=1", "", true},        {some, "7=0 10=1", "", false},
      {request, "7=0 10=1", "", true},        {some, "7=1 8=1 10=0", times, false},
      {request, "7=1 8=1 10=1", times, true}, {some, "7=1 8=1 10=0", times, false},
      {some, "7=1 10=0", "* * * * *", true},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::to_string(&row - rows) + ' ' + row.attributes);
    has(3, row.attributes, row.schedule);
    rule.tell(row.told);
    const bool before = rule.runs();
    (void)turn();
    EXPECT_EQ(row.runs, rule.runs());
    if (!before || row.runs) continue;
    now += 10s;  // it is killed
    EXPECT_FALSE(turn());
  }
  has(3, "7=1", times);
  peer.otherwise(reply_bytes({.error = OX_ENOCOMP}));
  rule.tell(some);
  (void)turn();
  now += 10s;
  EXPECT_FALSE(turn());
  EXPECT_TRUE(rule.gone());
}

TEST_F(ExpertRuleTest, WhatIsNotStartedSaysWhy) {
  struct Row {
    std::string attributes;
    std::uint32_t running;
    const char* why;
  };
  const Row rows[] = {
      {"7=1 1='host:prog'", 0, "not started: \"host:prog\" is a program of another machine"},
      {"7=1 2='elsewhere'", 0, "not started: it runs at the manager elsewhere, and this one is "},
      {"7=1", 63, "not started: 63 rule programs run, which is the most"},
      {"7=1 1='no_such_rule' 9='2'", 0, "its program \"no_such_rule\" cannot be started (system error 2); next: see"},
  };
  for (const Row& row : rows) {
    has(3, row.attributes);
    rule.tell(expert::Rule::anything | expert::Rule::admin);
    EXPECT_FALSE(turn(row.running)) << row.why;
    const std::string told = written();
    expect_parts(told, {row.why});
    now += 999ms;
    EXPECT_FALSE(turn());
    EXPECT_EQ("", written()) << "it is said once";
  }
  has(3, "7=1");
  rule.tell(expert::Rule::anything | expert::Rule::admin);
  EXPECT_FALSE(turn(63));
  now += 1s;
  EXPECT_TRUE(turn(62)) << "when there is room again";
}

TEST_F(ExpertRuleTest, IsAskedToEndAndThenMade) {
  for (const bool obeys : {true, false}) {
    SCOPED_TRACE(obeys);
    has(obeys ? 2 : 3, "7=1");
    rule.tell(expert::Rule::anything | expert::Rule::admin);
    ASSERT_TRUE(turn());
    wait_until_ready(obeys ? 1 : 2);
    has(3, "7=0");
    rule.tell(expert::Rule::anything);
    (void)written();
    EXPECT_TRUE(turn());
    now += 9999ms;
    for (int i = 0; i < 2000 && obeys && turn(); ++i) platform::sleep_ms(10);
    EXPECT_EQ(!obeys, turn());
    now += 1ms;
    EXPECT_FALSE(turn());
    const std::string told = written();
    EXPECT_EQ(obeys, told.find("stopped by force") == std::string::npos);
    expect_parts(told, {"stopped", "is ready"});
  }
}

TEST(ExpertRunFile, WhatALostDaemonHasLeftIsEnded) {
  const std::string file = work_dir() + "/run";
  write_file(file, "");
  const Program daemon = OtherProcess::start("lost daemon", file);  // when it is asked for its end, Windows ends all
  for (const int todo : {4, 5}) ASSERT_TRUE(lives(todo, true)) << todo;
  ASSERT_FALSE(lives(6, false));
  write_file(file, "\nrule\nrule x y\nrule 1 1 another\n" + read_text(file) + "trailing");
  expert::RunFile next(file);
  ASSERT_TRUE(next.take_over());
  for (const int todo : {4, 5}) EXPECT_FALSE(lives(todo, false)) << todo;
  EXPECT_EQ(1, count_of(read_text(file), "\n"));
  EXPECT_EQ(0u, read_text(file).find("daemon " + std::to_string(platform::process_id()) + ' '));
}

}  // namespace
}  // namespace ox::test
