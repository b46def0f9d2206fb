// SNMP values from an agent that answers as it is told to.
#include "manager/snmp/agent.h"
#include "manager/snmp/binding.h"
#include "tests/manager/event_fixture.h"
#include "tests/manager/scripted_agent.h"
#include "tests/support/traced.h"

namespace ox::manager {
namespace {

class SnmpTest : public EventManagerTest {
 protected:
  void SetUp() override {
    settings_.snmp_timeout = 200;
    settings_.snmp_retries = 2;
    settings_.poll_interval = 1;
    ManagerTest::SetUp();
    (void)ask("5 1=node 8=r1");
    ASSERT_EQ('0', ask("set node:r1 11.5.1.0 127.0.0.1 node:r1 11.5.2.0 " + agent_.port() +
                       " node:r1 11.5.3.0 public node:r1 11.5.5.0 0")[0]);
    const auto interfaces = [](const std::string& path) { return *parse_oid("1.3.6.1.2.1.2." + path); };
    const std::lock_guard lock(agent_.changing);
    agent_.values[interfaces("1.0")] = 3;  // ifNumber
    for (const std::string column : {"1", "7", "8", "10"}) {
      for (const std::string row : {"1", "2", "3"}) {
        agent_.values[interfaces("2.1." + column + '.' + row)] = static_cast<std::uint32_t>(std::stoul(column + row));
      }
    }
  }

  ScriptedAgent agent_;
};

TEST_F(SnmpTest, InstancesAndWalks) {
  expect({
      {"get node:r1 .interfaces.{ifNumber.0,ifTable.ifEntry.ifAdminStatus.{9,2}}",
       "121; node:r1 1.3.6.1.2.1.2.1.0 = 3; node:r1 1.3.6.1.2.1.2.2.1.7.9 ! 157; node:r1 1.3.6.1.2.1.2.2.1.7.2 = 72"},
      {"get system:system .2.1.0", "121; system:system 1.3.6.1.2.1.2.1.0 ! 157"},
      {"get node:r1 .interfaces.ifTable.ifEntry.ifAdminStatus",
       "0; node:r1 1.3.6.1.2.1.2.2.1.7.1 = 71; node:r1 1.3.6.1.2.1.2.2.1.7.2 = 72; node:r1 1.3.6.1.2.1.2.2.1.7.3 = 73"},
  });
  agent_.odd = 72;  // spoils no other
  expect({{"get node:r1 .interfaces.{ifNumber.0,ifTable.ifEntry.ifAdminStatus.2}",
           "121; node:r1 1.3.6.1.2.1.2.1.0 = 3; node:r1 1.3.6.1.2.1.2.2.1.7.2 ! 112"},
          {"get node:r1 .interfaces.ifTable.ifEntry.ifAdminStatus",
           "121; node:r1 1.3.6.1.2.1.2.2.1.7.1 = 71; node:r1 1.3.6.1.2.1.2.2.1.7.2 ! 112; "
           "node:r1 1.3.6.1.2.1.2.2.1.7.3 = 73"}});
  agent_.odd = 0;
  agent_.requests = 0;
  const std::string whole = ask("get node:r1 .interfaces");
  EXPECT_EQ(13, std::count(whole.begin(), whole.end(), ';')) << whole;
  // 23 columns in two batches; a version 1 agent refuses the ones behind its last name one by one.
  EXPECT_LT(agent_.requests, 40);

  agent_.most_bindings = 3;  // larger requests are split
  const std::string table = ask("get node:r1 .2.2.1.{1,7,8,10}.{1,2,3}");
  EXPECT_EQ(12, std::count(table.begin(), table.end(), ';')) << table;
  EXPECT_EQ(ask("get node:r1 .2.2.1"), table);
  agent_.stuck = true;  // a name that does not increase ends the walk
  expect({{"get node:r1 .interfaces.ifTable.ifEntry.ifAdminStatus", "0; node:r1 1.3.6.1.2.1.2.2.1.7.1 = 71"}});
}

TEST_F(SnmpTest, AnswersOfOthersArePassedOver) {
  static unsigned char community[] = "Public";
  const struct {
    std::function<bool(oxsSnmpMessage&)> forge;
    std::size_t kind;  // its place among what is counted
  } forgeries[] = {
      {[](oxsSnmpMessage& answer) { return answer.community = community, true; }, 4},
      {[](oxsSnmpMessage& answer) { return answer.communityLength -= 1, true; }, 4},
      {[](oxsSnmpMessage& answer) { return answer.version ^= 1, true; }, 3},
      {[](oxsSnmpMessage& answer) { return answer.requestId ^= 1, true; }, 1},
      {[](oxsSnmpMessage& answer) { return answer.pduType = OXS_GET, true; }, 0},
      {[](oxsSnmpMessage&) { return false; }, 2},
  };
  const auto counted = [this] {
    std::array<std::uint64_t, 5> figures{};
    const std::string shown = ask("get system:system sysmib.oxAnswers");
    std::size_t at = 0;
    for (std::uint64_t& figure : figures) {
      at = shown.find(" = ", at) + 3;
      figure = std::stoull(shown.substr(at));
    }
    return figures;
  };
  const std::string answer = ask("get node:r1 .2.1.0");
  for (const auto& [forge, kind] : forgeries) {
    {
      const std::lock_guard lock(agent_.changing);
      agent_.forge = forge;
    }
    const auto before = counted();
    EXPECT_EQ(answer, ask("get node:r1 .2.1.0")) << kind;
    const auto after = counted();
    EXPECT_LE(before[0] + (kind == 0 ? 2 : 1), after[0]) << "each time one is no SNMP";
    for (const std::size_t i : {2u, 3u, 4u}) EXPECT_EQ(before[i] + (i == kind ? 1 : 0), after[i]) << kind << ' ' << i;
    EXPECT_LE(before[1] + (kind == 1 ? 1 : 0), after[1]) << "and late ones";
  }
}

// Requests of one client to an agent that does not answer are not before another client's.
TEST_F(SnmpTest, ClientsHaveTheirTurnsAtAgents) {
  settings_.snmp_in_flight = 2;
  restart();
  test::UdpSocket mute;
  expect({{"5 1=node 8=mute", "0; node:mute 10.7.8.0 = mute"}});
  ASSERT_EQ('0', ask("set node:mute 11.5.1.0 127.0.0.1 node:mute 11.5.2.0 " + std::to_string(mute.port()))[0]);
  const Message set = message("set node:mute .1.6.0 x");
  for (int i = 0; i < 200; ++i) route(*manager_, {7, set, [](const Reply&) {}, of_member()});
  EXPECT_LE(150u, manager_->snmp.waiting());
  EXPECT_EQ("0; node:r1 1.3.6.1.2.1.2.1.0 = 3", ask("get node:r1 .2.1.0"));
  EXPECT_LE(50u, manager_->snmp.waiting()) << "only those before it in their turns have been sent";
}

TEST_F(SnmpTest, WhatTravelsIsTraced) {
  const std::string text = test::traced(0x10000, [this] { (void)ask("get node:r1 .interfaces.ifNumber.0"); });
  const std::string agent = "127.0.0.1:" + agent_.port();
  for (const std::string& line : {" > " + agent + ", ", "<M:SNMP " + agent + " > ", std::string(" = 3>\n")}) {
    EXPECT_NE(text.npos, text.find(line)) << line << " in " << text;
  }
  EXPECT_EQ(text.npos, text.find("publ"));
}

// A star stands for one number inside, and for all the rest at the end.
TEST_F(SnmpTest, StarsInInstances) {
  const Oid status = *parse_oid("1.3.6.1.2.1.2.2.1.7");
  for (const Oid& instance : {Oid{7, 2}, {7, 2, 1}, {7, 2, 1, 1}, {7, 3, 1}}) {
    Oid path = status;
    path.insert(path.end(), instance.begin(), instance.end());
    const std::lock_guard lock(agent_.changing);
    agent_.values[path] = 1;
  }
  expect({{"get node:r1 .2.2.1.7.*.2.*",
           "0; node:r1 1.3.6.1.2.1.2.2.1.7.7.2.1 = 1; node:r1 1.3.6.1.2.1.2.2.1.7.7.2.1.1 = 1"}});
}

TEST_F(SnmpTest, LostRequestsAreRepeatedAndSilenceIsAnError) {
  agent_.silent = 2;
  expect({{"get node:r1 .2.1.0", "0; node:r1 1.3.6.1.2.1.2.1.0 = 3"}});
  EXPECT_EQ(3, agent_.requests);
  agent_.silent = 1000;
  agent_.requests = 0;
  const std::string silence = "121; node:r1 1.3.6.1.2.1.2.1.0 ! 158; node:r1 1.3.6.1.2.1.2.2.1.7 ! 158";
  expect({{"get node:r1 .2.1.0,.2.2.1.7", silence}});
  EXPECT_LE(agent_.requests, 6) << "three attempts of each of two requests at the most";
  agent_.requests = 0;
  const std::string all = ask("get node:r1 .2.2.1.{1,7,8}.{1,2,3,4,5,6}");  // more than one request takes
  EXPECT_EQ(18, std::count(all.begin(), all.end(), '!')) << all;
  EXPECT_EQ(3, agent_.requests) << "an agent that is silent is not asked for the rest";

  // The request's own limit may come first.
  (void)ask("set node:r1 11.5.6.0 60000");
  expect({{"get node:r1 .2.1.0,.2.2.1.7 1", silence}});
}

TEST_F(SnmpTest, SetMapsTheAgentsErrors) {
  (void)ask("5 1=ruleEnt 8=r");
  {
    const std::lock_guard lock(agent_.changing);
    agent_.refuse = [](const Oid& path) { return path.back() == 2 ? 17u : path.back() == 3 ? 5u : 0u; };
  }
  const std::string row1 = "node:r1 1.3.6.1.2.1.2.2.1.7.1";
  const std::string row2 = "node:r1 1.3.6.1.2.1.2.2.1.7.2";
  const std::string row3 = "node:r1 1.3.6.1.2.1.2.2.1.7.3";
  expect({
      {"set " + row1 + " 2 ruleEnt:r 11.13.4.0 5", "0; " + row1 + "; ruleEnt:r 11.13.4.0"},
      {"get " + row1, "0; " + row1 + " = 2"},
      {"set " + row1 + " 1 " + row2 + " 1", "121; " + row1 + " ! 144; " + row2 + " ! 5"},
      {"set " + row3 + " 1", "144; " + row3 + " ! 144"},
      {"set node:r1 1.3.6.1.2.1.2.1.0 1", "5; node:r1 1.3.6.1.2.1.2.1.0 ! 5"},  // read-only in the AMIB
  });
}

TEST_F(SnmpTest, WatchedValuesAreLookedAtAgain) {
  const auto report = [&](std::uint32_t session) {
    std::string text = fetch(session);
    run_until([&] { return text != "nothing" || (text = fetch(session)) != "nothing"; });
    return text;
  };
  const auto change = [&](const char* path, std::optional<std::uint32_t> value) {
    const std::lock_guard lock(agent_.changing);
    agent_.values.erase(*parse_oid(path));
    if (value) agent_.values[*parse_oid(path)] = *value;
  };
  const char* const number = "1.3.6.1.2.1.2.1.0";
  const char* const status2 = "1.3.6.1.2.1.2.2.1.7.2";
  (void)watch("node:r1", ".2.1.0,.2.2.1.7.1", 1, 1, 0);
  EXPECT_EQ("2>1 node:r1 1.3.6.1.2.1.2.1.0 = 3 node:r1 1.3.6.1.2.1.2.2.1.7.1 = 71", report(1));
  (void)watch("node:r1", ".2.2.1.7", 2, 2);  // changes only
  change(number, 4);
  EXPECT_EQ("2>1 node:r1 1.3.6.1.2.1.2.1.0 = 4", report(1)) << "what has not changed is not told";
  (void)ask(std::string("set node:r1 ") + status2 + " 2");
  EXPECT_EQ(std::string("2>2 node:r1 ") + status2 + " = 2", report(2)) << "what we write is told at once";
  change("1.3.6.1.2.1.2.2.1.7.3", 1);
  EXPECT_EQ("2>2 node:r1 1.3.6.1.2.1.2.2.1.7.3 = 1", report(2)) << "and not again by the next look";
  change(status2, {});
  EXPECT_EQ(std::string("2>2 node:r1 ") + status2 + " = (deleted)", report(2));
}

// Notes what it is handed: "slot=value", "slot!code", and at the end the result.
struct Taker final : ValueReceiver {
  void reading(const Reading& one) override { last = one; }
  bool take(std::size_t slot, NodePtr node) override {
    const OX_RESULT code = code_of(node.get());
    values[slot] += code != 0 ? '!' + std::to_string(code) : '=' + std::string(oxdGetValueByRawStr(node.get()));
    return true;
  }
  void done(const std::vector<std::size_t>&, OX_RESULT why) override {
    for (const auto& [slot, value] : values) text += std::to_string(slot) + value + ' ';
    text += "done " + std::to_string(why);
  }
  std::map<std::size_t, std::string> values;
  std::string text;
  Reading last;
};

class AskerTest : public SnmpTest {
 protected:
  void SetUp() override {
    SnmpTest::SetUp();
    (void)ask("set node:r1 11.5.5.0 1");
    ASSERT_EQ(0u, agent_of(manager_->store, {"node", "r1"}, settings_, at_));
    const std::lock_guard lock(agent_.changing);
    agent_.values[system_uptime] = 77;
  }
  static std::shared_ptr<Question> question(const std::vector<std::string>& places, bool spare = false) {
    const auto made = std::make_shared<Question>(Question{{}, true, spare, true});
    for (const std::string& place : places) {
      made->wanted.push_back({*parse_oid("1.3.6.1.2.1.2.2.1." + place), made->wanted.size()});
    }
    return made;
  }
  std::shared_ptr<Taker> get(const std::shared_ptr<Question>& asked) {
    const auto taker = std::make_shared<Taker>();
    manager_->asker.get(at_, asked, taker);
    return taker;
  }
  std::string until_done(const std::shared_ptr<Taker>& taker) {
    run_until([&] { return taker->text.find("done") != std::string::npos; });
    return taker->text;
  }
  std::string until_done(const std::shared_ptr<Question>& asked) { return until_done(get(asked)); }

  Agent at_;
};

TEST_F(AskerTest, WhatSeveralWantTravelsOnce) {
  const auto first = get(question({"7.1", "7.2"}));
  const auto second = get(question({"7.2", "7.9", "7.3"}));
  agent_.requests = 0;
  EXPECT_EQ("0=72 1=(null) 2=73 done 0", until_done(second));
  EXPECT_EQ("0=71 1=72 done 0", first->text);
  EXPECT_EQ(1, agent_.requests);
  agent_.requests = 0;
  const std::string rows = ask("get node:r1 .2.2.1.{1,7,8,10}");
  EXPECT_EQ(1, agent_.requests) << "rows come many at a time";
  EXPECT_EQ(ask("get node:r1 .2.2.1.{1,7,8,10}.{1,2,3}"), rows);
  for (int i = 0; i < 3; ++i) (void)ask("get node:r1 .2.2.1.{7,8,10}");
  EXPECT_LE(4 * settings_.snmp_bindings, manager_->asker.agents().known(at_)->size) << "rows that never fill a request";
}

TEST_F(AskerTest, WhatAnAgentCanTakeIsLearned) {
  const auto all = question({"1.1", "1.2", "1.3", "7.1", "7.2", "7.3", "8.1", "8.2", "8.3", "10.1", "10.2", "10.3"});
  agent_.most_bindings = 4;
  const std::string answer = until_done(all);
  EXPECT_EQ(0u, answer.find("0=11 1=12 2=13 3=71 ")) << answer;
  for (int i = 0; i < 3; ++i) EXPECT_EQ(answer, until_done(all));
  agent_.requests = 0;
  EXPECT_EQ(answer, until_done(all));
  EXPECT_LE(agent_.requests, 5) << "no request is too big any more";
  agent_.most_bindings = 1;
  EXPECT_EQ(answer, until_done(all)) << "then without the agent's time";
}

TEST_F(AskerTest, SilentAgentsAreProbedAndNobodyWaitsForThem) {
  const auto spare = question({"7.1", "7.2"}, true);
  agent_.silent = 3;
  EXPECT_EQ("0!158 1!158 done 0", until_done(spare));
  agent_.requests = 0;
  agent_.silent = 1;
  const auto probe = get(spare);
  EXPECT_EQ("0!158 1!158 done 0", until_done(probe));
  EXPECT_EQ(1, agent_.requests);
  EXPECT_FALSE(probe->last.asked);
  const auto again = get(spare);
  EXPECT_EQ("0=71 1=72 done 0", until_done(again)) << "it is there again";
  EXPECT_EQ(77u, again->last.uptime);

  // Behind a probe that fails, who wants to be sure asks; who does not, does without; rows come with a probe, too.
  agent_.silent = 3;
  EXPECT_EQ("0!158 1!158 done 0", until_done(spare));
  agent_.silent = 1;
  agent_.requests = 0;
  const auto failing = get(spare);
  (void)until_done(question({}));  // a turn later
  const auto rows = std::make_shared<Taker>();
  manager_->asker.walk(at_, {{{*parse_oid("1.3.6.1.2.1.2.2.1.7")}}, true, true}, 0, rows);
  const auto sure = get(question({"7.3"}));
  EXPECT_EQ("0=73 done 0", until_done(sure));
  EXPECT_EQ("0!158 1!158 done 0", failing->text);
  EXPECT_EQ("0!158 done 0", rows->text);
  EXPECT_FALSE(rows->last.asked);
  EXPECT_EQ(2, agent_.requests);

  const test::UdpSocket mute;
  Agent dead = at_;
  dead.address.port(mute.port());
  dead.timeout = 60000;
  SnmpEngine engine(loop_, 1);  // one at a time
  const auto answered = [this](bool& there) { return [&there](const SnmpAnswer&) { there = true; }; };
  bool never = false;
  bool soon = false;
  engine.send(dead, OXS_GET, null_bindings({{{1, 3}}}), answered(never));
  engine.send(at_, OXS_GET, null_bindings({{{1, 3}}}), answered(soon));
  run_until([&] { return soon; });
  EXPECT_TRUE(soon && !never);
}

}  // namespace
}  // namespace ox::manager
