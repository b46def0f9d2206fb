// Rules: every request about them byte for byte, their programs, and the expert daemon's marks.
#include <oxbase/oxr.h>

#include "platform/environment.h"
#include "platform/service.h"
#include "tests/entries/entry_peer.h"
#include "tests/support/other_process.h"
#include "tests/support/registry.h"
#include "tests/support/texts.h"
#include "tests/support/traced.h"

namespace ox::test {
namespace {

// A rule program, started as "--process rule Interval Level Argument". Its interval says what it does.
int rule_program(OtherProcess& owner) {
  const int todo = std::stoi(owner.text());
  if (todo == 1) return 6;
  if (todo == 2 && oxrWindowOpen("--process") != OX_OK) return 7;
  std::printf("%s\n", owner.text().c_str());
  (void)std::fflush(stdout);
  for (int i = 0; i < 6000 && oxrWindowAsked() == 0; ++i) platform::sleep_ms(10);
  return oxrWindowClose() == OX_OK ? 5 : 7;
}
[[maybe_unused]] const bool declared = OtherProcess::declare("rule", rule_program);

std::string attributes(std::string_view list) { return nodes("ruleEnt:r", "11.13", list); }

// The table is there from the start.
struct ProcessTable {
  ProcessTable() { EXPECT_EQ(1u, oxrStart(nullptr)); }
};

class RuleTest : ProcessTable, public EntryTest {
 protected:
  void SetUp() override {
    EntryTest::SetUp();
    const std::string program = own_program();
    const std::size_t name = program.find_last_of("/\\") + 1;
    const std::string folder = name != 0 ? program.substr(0, name - 1) : ".";
    set_value("RulePath", folder.c_str());
    rule_name = program.substr(name);
    if (rule_name.ends_with(".exe")) rule_name.resize(rule_name.size() - 4);
    rule.RuleName = rule_name.c_str();
    rule.EntryName = "--process";
    rule.Target = "rule";
    rule.OutputFile = output.c_str();
  }
  static std::string oper(const char* status) {
    return set_request(20, nodes("ruleEnt:--process", "11.13", "8='" + std::string(status) + "'"), "");
  }
  // Waits for it; its exit status.
  static std::int32_t end_of(oxcProcess* process) {
    std::uint32_t ended = 0;
    std::int32_t status = -1;
    for (int i = 0; i < 2000 && ended == 0; ++i) {
      platform::sleep_ms(10);
      EXPECT_EQ(0u, oxcProcessEnded(process, &ended, &status));
    }
    return status;
  }

  std::string rule_name;
  const std::string output = work_dir() + "/rule.out";
  oxrRule rule{};
};

TEST_F(RuleTest, IsReadAndWritten) {
  oxrRule* read = nullptr;
  const std::string all = attributes("1='p' 2='m' 3='t' 4=4 5=5 6='a' 7=7 8=2 9='379' 10=1 11='* 1'");
  const Step ask = {get_request("ruleEnt:r", "11.13", 0, 20), {.data = all}};
  EXPECT_EQ(0u, run({ask}, [&] { return oxrGetRule("mgr", "r", &read); }));
  const char* const texts[] = {read->EntryName, read->RuleName, read->Component, read->Target,
                               read->Argument,  read->Error,    read->Schedule};
  std::string shown;
  for (const char* const text : texts) shown += std::string(text) + ' ';
  for (const auto number : {read->Interval, read->Level, read->AdminStatus, read->OperStatus, read->Request}) {
    shown += std::to_string(number) + ' ';
  }
  EXPECT_EQ("r p m t a 379 * 1 4 5 7 2 1 ", shown);
  EXPECT_EQ(0u, run({}, [&] { return oxrStartRequest("mgr", read); })) << "not for one that waits";
  const Step oper = {set_request(20, attributes("8='0'"))};
  EXPECT_EQ(5u, run({{oper.request, {.error = 5}}}, [&] { return oxrConfSetOperStatus("mgr", read, 0); }));
  EXPECT_EQ(2u, read->OperStatus);
  EXPECT_EQ(0u, run({oper}, [&] { return oxrConfSetOperStatus("mgr", read, 0); }));
  EXPECT_EQ(0u, run({{set_request(20, attributes("7='1'"))}}, [&] { return oxrStartRequest("mgr", read); }));
  EXPECT_EQ(1u, read->AdminStatus);
  EXPECT_EQ(0u,
            run({{set_request(20, attributes("9=''"))}}, [] { return oxrConfSet("mgr", "r", "11.13.9.0", nullptr); }));
  EXPECT_EQ(0u, oxrFreeRule(read));
  EXPECT_EQ(84u, run({{ask.request, {.error = 84}}}, [&] { return oxrGetRule("mgr", "r", &read); }));
  const std::string long_name(64, 'n');
  EXPECT_EQ(59u, run({}, [&] { return oxrGetRule("mgr", long_name.c_str(), &read); }));
  EXPECT_EQ(59u, run({}, [&] { return oxrConfSet("mgr", long_name.c_str(), "11.13.9.0", ""); }));
}

TEST_F(RuleTest, SchedulesBecomeCommandEntries) {
  set_value("TimeZone", "UTC0");
  platform::ServiceMark commands;
  ASSERT_EQ(0u, commands.hold("Oxcmd"));
  const std::string ask = get_request("ruleEnt:r", "11.13.11.0", 0, 0, "");
  const auto schedule = [&](const std::string& text) { return Step{ask, {.data = attributes("11='" + text + "'")}}; };
  const auto of_command = [](const std::string& list) { return nodes("cmdEnt:r", "11.23", list); };
  const Step found = {get_request("cmdEnt:r", "obj.cmn.cmnName.0", 0, 0, ""), {.data = attributes("1='r'")}};
  const auto no_command = [&](std::uint32_t code) { return Step{found.request, {.error = code}}; };
  const std::string written = of_command(
      "1='oxset.exe' 2='-nopass ruleEnt:r 11.13.10.0 1' 3=t0 4=0 8=2 7=0 5=1 10='S' 11='oxset.exe' "
      "12='-nopass ruleEnt:r 11.13.10.0 0'");
  const auto write = [&](const std::string& text) {
    std::string all = written;
    const std::string old = text_value("S");
    return set_request(30, all.replace(all.find(old), old.size(), text_value(text)), "");
  };
  const std::string holds = "* * * * 1970/1/2-2105/1/1", never = "* * * * 1971/1/2";
  const Step error = {set_request(20, attributes("9='379'"), "")}, waits = {set_request(20, attributes("8='2'"), "")};
  const std::string named = nodes("", "10.7", "1='cmdEnt' 8='r'");
  const Step remove = {request_bytes({.command = 8, .error = 6, .body = named})};
  const Step add = {request_bytes({.command = 8, .error = 39, .body = named}), {.data = nodes("", "10.7", "8='r'")}};
  const Step start = {set_request(20, attributes("7='1'"), "")};
  const Step disarm = {set_request(30, of_command("5=0"), "")};
  struct Row {
    const char* what;
    std::uint32_t action;
    Steps steps;
    const char* result;
  };
  const Row rows[] = {
      {"no schedule", 1, {{ask, {.error = 122}}}, "0"},
      {"no rule", 1, {{ask, {.error = 84}}}, "!84"},
      {"always", 1, {schedule("* * * * *"), found, remove, start}, "0"},
      {"always, with nothing to delete", 1, {schedule("* * * * *"), no_command(122), start}, "0"},
      {"empty", 0, {schedule(""), found, remove}, "0"},
      {"kept when the entry stays", 1, {schedule(""), found, {remove.request, {.error = 5}}}, "!5"},
      {"changed", 1, {schedule(holds), found, {write(holds)}}, "1"},
      {"changed in vain", 1, {schedule(holds), found, {write(holds), {.error = 5}}}, "!5"},
      {"made", 1, {schedule(holds), no_command(59), add, {write(holds)}}, "1"},
      {"made to wait", 1, {schedule(never), no_command(197), error, waits, add, {write(never)}}, "1"},
      {"not to be told", 1, {schedule(never), found, {error.request, {.error = 5}}}, "!5"},
      {"malformed", 1, {schedule("25"), no_command(84)}, "!70"},
      {"disarmed", 0, {schedule(holds), found, disarm}, "1"},
      {"disarmed already", 2, {schedule(holds), no_command(84)}, "0"},
      {"not to be asked", 0, {schedule(holds), no_command(17)}, "!17"},
  };
  const auto result_of = [&](const Steps& steps, std::uint32_t action) {
    std::uint32_t armed = 77;
    const OX_RESULT result = run(steps, [&] { return oxrMakeSchedule("r", action, &armed); });
    EXPECT_TRUE(result == 0 || armed == 77);
    return result != 0 ? '!' + std::to_string(result) : std::to_string(armed);
  };
  for (const Row& row : rows) EXPECT_EQ(row.result, result_of(row.steps, row.action)) << row.what;
  peer.otherwise(reply_bytes({.data = attributes("11='" + never + "'") + nodes("", "10.7", "8='r'")}));
  const auto arm = [&] {
    std::uint32_t armed = 0;
    return oxrMakeSchedule("r", 1, &armed);
  };
  every_allocation_may_fail(arm);
  (void)peer.requests();
  commands = {};
  EXPECT_EQ("!7", result_of({schedule(holds), found}, 1)) << "no command daemon";
  const std::string long_name(64, 'n');
  std::uint32_t armed = 77;
  EXPECT_EQ(59u, run({}, [&] { return oxrMakeSchedule(long_name.c_str(), 1, &armed); }));
}

TEST_F(RuleTest, ProgramsAreStartedAskedToEndAndMissed) {
  rule.Interval = 2;
  rule.Level = static_cast<std::uint32_t>(-3);
  rule.Argument = "\"a b\" c";
  const auto start = [&] { return oxrStart(&rule); };
  EXPECT_EQ(1u, run({{oper("1")}}, start));
  EXPECT_EQ(1u, run({}, start)) << "it runs already";
  rule.OperStatus = 2;
  EXPECT_EQ(1u, run({{oper("1")}}, start));
  while (read_text(output).empty()) platform::sleep_ms(10);
  EXPECT_EQ("2 -3 a b c\n", read_text(output));
  oxcProcess* const own = rule.Process;
  EXPECT_EQ(1u, run({}, [&] { return oxrStop(&rule, 1); }));
  EXPECT_EQ(nullptr, rule.Process);
  ASSERT_EQ(own, rule.Ending);
  EXPECT_EQ(5, end_of(rule.Ending));
  EXPECT_EQ(1u, run({{oper("0")}}, [&] { return oxrStop(&rule, 2); }));

  rule.Interval = 3;  // without a window: the caller ends what is left
  EXPECT_EQ(1u, run({{oper("1")}}, start));
  EXPECT_EQ(1u, run({}, [&] { return oxrStop(&rule, 2); }));
  ASSERT_NE(nullptr, rule.Ending);
  EXPECT_EQ(0u, oxcEndProcess(rule.Ending));
  EXPECT_LT(100, end_of(rule.Ending));
  EXPECT_EQ(0u, oxcProcessId(rule.Ending));

  rule.Interval = 1;
  EXPECT_EQ(1u, run({}, start));
  (void)end_of(rule.Process);
  EXPECT_EQ(1u, oxrProcessCheck());
  EXPECT_EQ(nullptr, rule.Process);
  EXPECT_EQ(6, rule.ExitStatus);
  EXPECT_EQ(0u, oxrProcessCheck());
  EXPECT_EQ(0u, oxcFreeProcess(rule.Ending));
}

TEST_F(RuleTest, OthersAreNotStarted) {
  const auto start = [&] { return oxrStart(&rule); };
  rule.Component = "another manager";
  EXPECT_EQ(1u, run({}, start));
  rule.RuleName = "host:prog";
  EXPECT_EQ(1u, run({}, start));
  EXPECT_EQ(1u, run({}, [&] { return oxrStop(&rule, 2); }));
  rule.Component = oxcGetMyComm();
  const auto fails = [&](const char* name, const char* error) {
    rule.RuleName = name;
    rule.AdminStatus = 1;
    const std::string told = nodes("ruleEnt:--process", "11.13", "9='" + std::string(error) + "'");
    const std::string off = nodes("ruleEnt:--process", "11.13", "7='0'");
    EXPECT_EQ(0u, run({{set_request(20, told, "")}, {set_request(20, off, "")}}, start)) << name;
    EXPECT_EQ(0u, rule.AdminStatus);
  };
  fails("no_such_rule", "2");
  for (const char* const name : {"../bin/sh", "..\\x", "a b", ""}) fails(name, "123");
  oxcProcess* process = nullptr;
  EXPECT_EQ(1u, oxcCreateProcess(nullptr, "x", 1, nullptr, &process));
  EXPECT_EQ(189u, oxcCreateProcess(nullptr, "\"no such program\" x", 32, nullptr, &process));
  const std::string line = '"' + own_program() + "\" --process rule 1";
  ASSERT_EQ(0u, oxcCreateProcess(nullptr, line.c_str(), 32, output.c_str(), &process));
  EXPECT_EQ(0u, oxcWaitForInputIdle(process, 20000));
  EXPECT_EQ(6, end_of(process));
  EXPECT_EQ(0u, oxcFreeProcess(process));
}

TEST_F(RuleTest, SixtyThreeRunAtMost) {
  peer.otherwise(reply_bytes({}));
  rule.Interval = 3;
  std::vector<oxrRule> rules(64, rule);
  for (oxrRule& one : rules) EXPECT_EQ(1u, oxrStart(&one));
  EXPECT_NE(nullptr, rules[62].Process);
  EXPECT_EQ(nullptr, rules[63].Process);
  (void)oxcEndProcess(rules[5].Process);
  EXPECT_EQ(1u, oxrStart(&rules[63]));
  EXPECT_NE(nullptr, rules[63].Process) << "in the place of one that has ended";
  EXPECT_EQ(nullptr, rules[5].Process);
  for (oxrRule& one : rules) {
    (void)oxrStop(&one, 0);
    (void)oxcEndProcess(one.Ending);
    (void)oxcFreeProcess(one.Ending);
  }
  (void)peer.requests();
}

TEST_F(RuleTest, TheExpertDaemonIsSeen) {
  platform::ServiceMark mark;
  platform::NamedMutex mutex;
  EXPECT_EQ(nullptr, oxrRuleOpen());
  EXPECT_EQ(0u, oxrExpdCheck());
  ASSERT_EQ(0u, mark.hold("Oxexpd"));
  ASSERT_EQ(0u, mutex.create("OxExpdMutex", platform::Access::machine));
  oxrService* const service = oxrRuleOpen();
  EXPECT_NE(nullptr, service);
  EXPECT_EQ(0u, oxrRuleClose(service));
  EXPECT_EQ(1u, oxrExpdCheck());
}

TEST_F(RuleTest, EveryAllocationMayFail) {
  peer.otherwise(reply_bytes({.data = attributes("1='p' 4=4 11='* 1'")}));
  every_allocation_may_fail(oxrFreeRule, [](oxrRule** made) { return oxrGetRule("mgr", "r", made); });
  const std::string lines = traced(0x8, [] {
    std::uint32_t armed = 0;
    (void)oxrStart(nullptr);
    (void)oxrMakeSchedule("r", 0, &armed);
  });
  expect_parts(lines, {"<S:oxrStart(0)>\n<E:oxrStart[1]>\n", "<X:oxrMakeSchedule[lpszSchedule=p]>\n"});
  (void)peer.requests();
}

}  // namespace
}  // namespace ox::test
