#include "manager/requests/router.h"

#include <algorithm>
#include <filesystem>

#include "tests/manager/damage.h"
#include "tests/manager/manager_fixture.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/system_root.h"

namespace ox::manager {
namespace {

namespace fs = std::filesystem;
using test::half;
using test::text;
using test::word;

class RouterTest : public ManagerTest {};

TEST_F(RouterTest, EveryPayloadCutShortIsRefused) {
  const struct {
    std::uint32_t command;
    std::string payload;
  } cases[] = {
      {1, text("system:system") + text("11.1.1.0") + word(3) + word(20) + half(1) + std::string(20, '\0')},
      {14, text("system:system") + word(0)},
      {21, word(1) + word(2) + text("a") + text("b") + word(2) + half(0)},
      {22, text("a") + text("b")},
  };
  for (const auto& c : cases) {
    for (std::size_t cut = 0; cut < c.payload.size(); ++cut) {
      EXPECT_EQ(71u, ask(1, c.command, c.payload.substr(0, cut)).error) << "command " << c.command << " cut at " << cut;
    }
    EXPECT_EQ(0u, ask(1, c.command, c.payload).error) << "command " << c.command;
  }
}

TEST_F(RouterTest, UnknownRequests) {
  EXPECT_EQ(OX_EUNSUPPORTED, ask(1, 99, "").error);
  EXPECT_EQ(OX_EUNSUPPORTED, ask(9, 1, "").error);
  EXPECT_EQ(OX_EHANDLE, ask(1, 7, "").error);
  EXPECT_EQ(6u, ask(5, 0, "").type);  // nothing to fetch
  EXPECT_EQ(OX_ENOPIPE, ask({.type = 1, .command = 1, .destination = "elsewhere"}).error);
  for (const std::uint32_t refusal : {OX_EENCODEDLONG, OX_ENOMEM}) {
    EXPECT_EQ(refusal, ask({.type = 1, .command = 12, .refusal = refusal}).error);
  }
  expect({{"77", "6"}, {"5", "56"}});
  EXPECT_EQ(OX_EFORMAT, ask(1, 22, half(3) + "abc" + text("b")).error) << "a text without its end";
}

TEST_F(RouterTest, ComponentsOfAllForms) {
  expect({
      {"5 1=printer 8=r1", "0; node:r1 10.7.8.0 = r1"},
      {"get node:r1 obj.cmn.cmnName.0", "0; node:r1 11.1.1.0 = r1"},
      {"get printer:r1 11.1.1.0", "0; node:r1 11.1.1.0 = r1"},
      {"get node:* 11.1", "0; node:r1 11.1.1.0 = r1"},
      {"get system:* 11.1.1.*", "0; system:system 11.1.1.0 = system"},
      {"get logEnt:* 11.1.1.0", "122"},
      {"get node:r2 11.1.1.0", "84"},
      {"get nothing:r1 11.1.1.0", "197"},
      {"get nothing:* 11.1.1.0", "197"},
      {"get node: 11.1.1.0", "59"},
      {"get node 11.1.1.0", "59"},
      {"get node:" + std::string(64, 'x') + " 11.1.1.0", "59"},
      {"get node:r1 obj.nosuch.0", "125"},
      {"get node:r1 11.1.99.0", "125"},
      {"get node:r1 77.1", "125"},
      {"get node:r1", "125"},
      {"get node:r1 obj.{cmn", "128"},
      {"get node:r1 11.1.{1,99}.0", "121; node:r1 11.1.1.0 = r1; node:r1 11.1.99.0 ! 125"},
      {"get node:r1 11.{1,2,3,4}.{1,2,3,4}.{1,2,3,4}.{1,2,3,4}.{1,2,3,4}.{1,2}", "85"},
      {"get node:r1 11.5.1.0", "122"},
      {"get node:r1 sysmib.oxMessage.oxEventMessage.0", "122"},
  });
}

TEST_F(RouterTest, SetWritesAllOrNothing) {
  expect({
      {"5 1=ruleEnt 8=night", "0; ruleEnt:night 10.7.8.0 = night"},
      {"set ruleEnt:night 11.13.1.0 prog ruleEnt:night 11.13.4.0 7",
       "0; ruleEnt:night 11.13.1.0; ruleEnt:night 11.13.4.0"},
      {"get ruleEnt:night obj.ruleEnt", "0; ruleEnt:night 11.13.1.0 = prog; ruleEnt:night 11.13.4.0 = 7"},
      {"set", "56"},
  });
  const struct {
    std::string target;
    const char* text;
    OX_RESULT code;
  } cases[] = {
      {"ruleEnt:day 11.13.1.0", "x", OX_ENOCOMP},       {"nothing:day 11.13.1.0", "x", OX_ENOTYPE},
      {"ruleEnt:night 11.13.99.0", "x", OX_EAMIBNAME},  {"ruleEnt:night 11.13.1", "x", OX_EAMIBNAME},
      {"ruleEnt:night 11.13.4.0", "seven", OX_EFORMAT}, {"ruleEnt:night 10.6.1.0", "x", OX_EDENIED},
      {"ruleEnt:night 11.1.1.0", "other", OX_EDENIED},
  };
  for (const auto& c : cases) {
    const std::string code = std::to_string(c.code);
    const std::string bad = c.target + " ! " + code;
    const std::string setting = c.target + ' ' + c.text;
    expect({{"set " + setting, code + "; " + bad},
            {"set ruleEnt:night 11.13.1.0 changed " + setting, "121; ruleEnt:night 11.13.1.0; " + bad},
            {"get ruleEnt:night 11.13.1.0", "0; ruleEnt:night 11.13.1.0 = prog"}});
  }
}

TEST_F(RouterTest, ManagementCodes) {
  const std::string relation = " 4=logEnt-dataEnt 2=logEnt 9=logEnt1 3=dataEnt 10=dataEnt1";
  const std::string query = "10 4=logEnt-dataEnt 1=logEnt 8=logEnt1 7=";
  expect({
      {"5 1=logEnt", "0; logEnt:logEnt1 10.7.8.0 = logEnt1"},
      {"39 1=logEnt", "0; logEnt:logEnt2 10.7.8.0 = logEnt2"},
      {"5 1=dataEnt", "0; dataEnt:dataEnt1 10.7.8.0 = dataEnt1"},
      {"5 1=logEnt 8=logEnt1", "207"},
      {"5 1=nothing", "197"},
      {"5 1=logEnt 8=a*", "59"},
      {"5 8=x", "56"},
      {query, "122"},
      {"9" + relation, "122"},
      {"8" + relation, "0"},
      {"8" + relation, "207"},
      {query, "0; : 10.7.7.0 = dataEnt:dataEnt1"},
      {"8 4=map-icon 2=logEnt 9=logEnt1 3=dataEnt 10=dataEnt1", "57"},
      {"8 4=no-such 2=logEnt 9=logEnt1 3=dataEnt 10=dataEnt1", "94"},
      {"9" + relation, "0"},
      {query, "122"},
      {"8" + relation, "0"},
      {"6 1=dataEnt 8=dataEnt1", "0"},
      {query, "122"},  // a deleted component leaves no relation
      {"14 1=logEnt 8=logEnt2", "0"},
      {"14 1=logEnt 8=logEnt2", "84"},
      {"14 1=system 8=system", "269"},
      {"5 1=cmdEnt 8=job", "0; cmdEnt:job 10.7.8.0 = job"},
      {"41 30=cmdEnt:job 11.23.1.0=oxset.exe", "0; cmdEnt:job 11.23.1.0"},
      {"get cmdEnt:job obj.cmdEnt.{cmdName,cmdOwner}.0", "0; cmdEnt:job 11.23.1.0 = oxset.exe"},
  });
  restart();  // a name is not given twice
  expect({{"5 1=logEnt", "0; logEnt:logEnt3 10.7.8.0 = logEnt3"},
          {"5 1=dataEnt", "0; dataEnt:dataEnt2 10.7.8.0 = dataEnt2"}});
}

TEST_F(RouterTest, LocksExcludeAndEndWithTheirSession) {
  const auto lock = [&](std::uint32_t session, std::uint32_t argument) {
    return ask(1, 14, text("system:system") + word(argument), session);
  };
  const Reply held = lock(1, 0);
  ASSERT_EQ(0u, held.error);
  EXPECT_NE(0u, held.source_id);
  EXPECT_EQ(OX_EEXISTS, lock(2, 0).error);
  EXPECT_EQ(OX_EEXISTS, lock(2, 1).error);
  rights_[2] = of_member();
  EXPECT_EQ(OX_EHANDLE, ask(4, 14, "", 2, held.source_id).error) << "another session's lock";
  EXPECT_EQ(0u, ask(4, 14, "", 1, held.source_id).error);
  EXPECT_EQ(OX_EHANDLE, ask(4, 14, "", 1, held.source_id).error);

  EXPECT_EQ(0u, lock(1, 1).error);
  EXPECT_EQ(0u, lock(2, 1).error);
  EXPECT_EQ(OX_EEXISTS, lock(3, 0).error);
  manager_->locks.end_session(1);
  EXPECT_EQ(OX_EEXISTS, lock(3, 0).error);
  manager_->locks.end_session(2);
  EXPECT_EQ(0u, lock(3, 0).error);
  EXPECT_EQ(OX_ENOCOMP, ask(1, 14, text("node:none") + word(0)).error);
  manager_->locks.end_session(3);
  for (int i = 0; i < 20000 && lock(1, 1).error == 0; ++i) {
  }
  EXPECT_EQ(OX_ETOOMANY, lock(1, 1).error);
  EXPECT_EQ(0u, lock(2, 1).error);
}

TEST_F(RouterTest, WhatIsStoredHasLimits) {
  expect({{"5 1=node 8=r1", "0; node:r1 10.7.8.0 = r1"}, {"set node:r1 11.5.6.0 1", "0; node:r1 11.5.6.0"}});
  const Store::Size size = manager_->store.size();
  manager_->settings.max_values = static_cast<std::uint32_t>(size.count + 1);
  expect({{"set node:r1 11.5.7.0 1", "0; node:r1 11.5.7.0"},
          {"set node:r1 11.5.2.0 161", "85; node:r1 11.5.2.0 ! 85"},
          {"set node:r1 11.5.6.0 2", "0; node:r1 11.5.6.0"},
          {"5 1=node 8=r2", "85"},
          {"6 1=node 8=r1", "0"}});
  EXPECT_EQ(size.count - 2, manager_->store.size().count);
  manager_->settings.max_value_bytes = static_cast<std::uint32_t>(manager_->store.size().bytes + 6);
  expect({{"5 1=node 8=r1", "0; node:r1 10.7.8.0 = r1"},
          {"set node:r1 11.5.6.0 1", "0; node:r1 11.5.6.0"},
          {"set node:r1 11.5.6.0 2", "0; node:r1 11.5.6.0"},
          {"set node:r1 11.5.2.0 161", "266; node:r1 11.5.2.0 ! 266"},
          {"5 1=node 8=r2", "266"}});
  // A list counts as a whole, what it sets twice once.
  manager_->settings.max_value_bytes += 4;
  manager_->settings.max_values += 10;
  expect({{"set node:r1 11.5.2.0 161 node:r1 11.5.7.0 1", "121; node:r1 11.5.2.0; node:r1 11.5.7.0 ! 266"},
          {"set node:r1 11.5.2.0 161 node:r1 11.5.2.0 162", "0; node:r1 11.5.2.0; node:r1 11.5.2.0"},
          {"get node:r1 11.5.2.0", "0; node:r1 11.5.2.0 = 162"}});
  manager_->settings.max_value_bytes += 4;
  manager_->settings.max_values = static_cast<std::uint32_t>(manager_->store.size().count);
  expect({{"set node:r1 11.5.6.0 2 node:r1 11.5.7.0 1", "121; node:r1 11.5.6.0; node:r1 11.5.7.0 ! 85"}});
}

// Its messages are answered at once or when the components are there, in the order in which they came; while a damaged
// database is renewed the loop has nothing to do.
TEST_F(RouterTest, WhatNeedsAComponentWaitsUntilAllAreThere) {
  for (const bool damaged : {false, true}) {
    SCOPED_TRACE(damaged);
    expect({{"5 1=node 8=r1", "0; node:r1 10.7.8.0 = r1"}, {"set node:r1 11.5.2.0 161", "0; node:r1 11.5.2.0"}});
    manager_.reset();
    const std::string data = test::work_dir() + "/data";
    if (damaged) test::change_database(data + "/components.db", "UPDATE attributes SET sum = 0");
    manager_.emplace(loop_, settings_, data);
    ASSERT_TRUE(manager_->components.open([&](const auto&...) { EXPECT_TRUE(damaged); }));
    std::string answers;
    const auto ask_for = [&](const Message& sent, std::uint32_t session) {
      send(
          sent,
          [&, session](const Reply& reply) {
            answers += std::to_string(session) + ':' + std::to_string(reply.error) + ' ';
          },
          session);
    };
    ask_for({.type = 1, .command = 14, .data = bytes_of(text("node:r1") + word(0))}, 7);
    ask_for(message("6 1=node 8=r1"), 1);
    ask_for(message("5 1=node 8=r2"), 2);
    ask_for(message("get node:r1 11.1.1.0"), 3);
    ask_for(message("set node:r2 11.5.2.0 161"), 4);
    ask_for({.type = 1, .command = 10, .data = bytes_of("prog")}, 5);
    EXPECT_EQ("5:0 ", answers);
    manager_->end_session(2);
    manager_->end_session(7);
    load_components(*manager_, [&](bool loaded) { answers += loaded ? "loaded " : "failed "; });
    loop_.restart();
    std::size_t turns = 0;
    while (!answers.ends_with(" 4:84 ") && loop_.run_one() != 0) ++turns;
    EXPECT_EQ("5:0 loaded 1:0 3:84 4:84 ", answers);
    EXPECT_LT(turns, 2000u);  // where each look waits 5 ms
    EXPECT_EQ("0", ask("5 1=node 8=r3").substr(0, 1));
    EXPECT_EQ("0", ask("6 1=node 8=r3").substr(0, 1));
  }
}

// Each database in turn is set aside; a greeting is answered at once, what needs the database behind its renewal.
TEST_F(RouterTest, WhileADatabaseIsRenewedOnlyWhatNeedsItWaits) {
  expect({{"5 1=node 8=r1", "0; node:r1 10.7.8.0 = r1"}, {"set node:r1 11.5.2.0 161", "0; node:r1 11.5.2.0"}});
  const Bytes record = bytes_of(word(1) + word(2) + text("node:r1") + text("") + word(0));
  ASSERT_EQ(0u, ask(1, 21, record).error);
  const FaultSink told = [](const auto&...) {};
  ASSERT_TRUE(manager_->components.open(told) && manager_->events.open(told) && manager_->collected_file.open(told) &&
              manager_->run_ledger.open(told));
  const struct {
    std::string file;
    std::function<void()> renew;
    std::string at_once;
  } cases[] = {
      {"components.db", [&] { manager_->components.renew(manager_->store); }, "open get size log1 "},
      {"events.db", [&] { manager_->events.renew(); }, "open get size set "},
      {"collected.db", [&] { manager_->collected_file.renew(); }, "open log1 "},
      {"jobs.db", [&] { manager_->run_ledger.renew(); }, "open log1 "},
  };
  const std::string data = test::work_dir() + "/data/";
  for (const auto& c : cases) {
    SCOPED_TRACE(c.file);
    std::string answers;
    std::size_t missing = 5;
    const auto ask_for = [&](const std::string& what, const Message& sent) {
      send(sent, [&, what](const Reply& reply) {
        answers += what + (reply.error == 0 ? " " : std::to_string(reply.error) + ' ');
        --missing;
      });
    };
    c.renew();
    ask_for("open", {.type = 1, .command = 10, .data = bytes_of("prog")});
    ask_for("get", message("get node:r1 11.5.2.0"));
    ask_for("size", {.type = 1, .command = 22, .data = bytes_of(text("node:r1") + text(""))});
    ask_for("log", {.type = 1, .command = 15});  // without a filter: refused
    ask_for("set", message("set node:r1 11.5.2.0 161"));
    EXPECT_EQ(c.at_once, answers);
    run_until([&] { return missing == 0; });
    EXPECT_EQ("0; node:r1 11.5.2.0 = 161", ask("get node:r1 11.5.2.0"));
    EXPECT_EQ("0; node:r1 11.5.2.0", ask("set node:r1 11.5.2.0 161"));
    const auto kept = std::count_if(fs::directory_iterator(data), {}, [&](const fs::directory_entry& entry) {
      const std::string name = entry.path().filename().string();
      return name.starts_with(c.file + ".2") && !name.ends_with("-wal");
    });
    EXPECT_EQ(1, kept);
  }
  restart();
  EXPECT_EQ("0; node:r1 11.5.2.0 = 161", ask("get node:r1 11.5.2.0"));
}

TEST_F(RouterTest, CollectedDataGrowsToItsLimitAndStaysThere) {
  settings_.max_data = 60;
  settings_.max_series = 2;
  settings_.max_series_bytes = 100;
  restart();
  const auto append = [&](std::uint32_t bytes, const std::string& key) {  // nodes without fields
    return ask(1, 21, word(1) + word(2) + key + word(bytes) + std::string(bytes, '\0')).error;
  };
  const auto size = [&](const std::string& key) {
    const Reply reply = ask(1, 22, key);
    return reply.error != 0 ? 1000 + reply.error : PayloadReader(reply.data).u32();
  };
  const std::string key = text("dataEnt:a") + text("values");
  const std::string other = text("dataEnt:a") + text("");
  EXPECT_EQ(1122u, size(key));
  EXPECT_EQ(OX_ETRUNCATED, append(3, key));
  EXPECT_EQ(OX_EENCODEDLONG, append(50, key));
  EXPECT_EQ(1122u, size(key));
  EXPECT_EQ(0u, append(8, key));
  EXPECT_EQ(0u, append(0, other));
  restart();
  EXPECT_EQ(0u, append(8, key));
  EXPECT_EQ(40u, size(key));
  EXPECT_EQ(12u, size(other));
  EXPECT_EQ(OX_EENCODEDLONG, append(10, key));
  EXPECT_EQ(0u, append(8, key));
  EXPECT_EQ(60u, size(key));
  EXPECT_EQ(OX_ETOOMANY, append(0, text("dataEnt:b") + text("")));
  EXPECT_EQ(OX_EENCODEDLONG, append(18, other)) << "too much of all series";
  EXPECT_EQ(0u, append(16, other));
  restart();
  EXPECT_EQ(OX_EENCODEDLONG, append(0, other));
}

}  // namespace
}  // namespace ox::manager
