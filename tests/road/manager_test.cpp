// The real daemon and its clients: sessions of the library, and others.
#include <algorithm>
#include <filesystem>
#include <set>
#include <thread>

#include <oxbase/oxa.h>
#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

#include "access/session.h"
#include "tests/road/daemon.h"
#include "tests/road/raw_client.h"
#include "tests/support/installation.h"
#include "tests/support/registry.h"
#include "tests/support/scripted_peer.h"
#include "tests/support/system_root.h"
#include "tests/support/udp_socket.h"

namespace ox::test {
namespace {

// The result, then " path = value" for each node.
std::string get(const std::string& component, const char* names) {
  dnode* list = nullptr;
  std::string shown = std::to_string(oxaGet(nullptr, component.c_str(), names, nullptr, 0, 20, &list));
  for (dnode* node = list; node != nullptr; node = oxdNext(node)) {
    const char* path = "";
    (void)oxdGetAmibName(node, &path);
    shown += std::string(" ") + path + " = " + oxdGetValueByRawStr(node);
  }
  (void)oxdFree(list);
  return shown;
}

const std::string a_value = "0 11.1.1.0 = system";
std::string get_a_value() { return get("system:system", "11.1.1.0"); }

template <class Condition>
void wait_for(Condition condition) {
  for (int i = 0; i < 1000 && !condition(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

class Road : public testing::Test {
 protected:
  void TearDown() override { session().close(); }
};

TEST_F(Road, ClientsThatMisbehaveAreDroppedAndCostTheOthersNothing) {
  lay_down_installation();
  write_settings("GreetingTimeout:\t1\nSendTimeout:\t1\nMaxQueue:\t4\n");
  Daemon daemon;
  ASSERT_EQ(0u, oxaInit(nullptr));
  RawClient mute;
  const std::string request =
      request_bytes({.command = 1, .body = text("system:system") + text("11.1.1.0") + std::string(10, '\0')});
  for (const std::string& message : {std::string("GET / HTTP/1.0\r\n\r\n"), half(0x7FFF)}) {
    RawClient client;
    ASSERT_TRUE(client.greet());
    client.send(message + std::string(4, '\0'));
    client.wait_for_end();
  }
  for (const std::string& message : {std::string(), request, request.substr(0, 30)}) {
    RawClient client;  // goes away: at peace, without its answer, in the middle of a message
    ASSERT_TRUE(client.greet());
    client.send(message);
  }
  RawClient deaf;
  ASSERT_TRUE(deaf.greet());
  // Ends with the connection: nothing reads the answers, so the manager stops reading the requests.
  for (int i = 0; i < 20000; ++i) deaf.send(request);
  mute.wait_for_end();
  RawClient broken;  // a sound frame with a broken payload is answered
  ASSERT_TRUE(broken.greet());
  broken.send(request_bytes({.command = 1, .body = "\x7F"}));
  EXPECT_EQ(half(71), broken.receive(36).substr(14, 2));
  broken.send(request_bytes({.command = 12, .body = std::string(3'000'000, 'x')}) + request_bytes({.command = 99}));
  EXPECT_EQ(half(266), broken.receive(36).substr(14, 2)) << "its data have been passed over";
  EXPECT_EQ(half(6), broken.receive(36).substr(14, 2));
  EXPECT_EQ(a_value, get_a_value());

  const std::multiset<std::string> reasons{"no greeting in time", "bad header length", "bad header length",
                                           "closed in the middle of a message", "answer not read in time"};
  const auto logged = [&] {
    std::multiset<std::string> found;
    const std::string log = daemon.log();
    for (std::size_t at = 0; (at = log.find("dropped: ", at)) != log.npos;) {
      at += 9;
      found.insert(log.substr(at, log.find('\n', at) - at));
    }
    return found;
  };
  wait_for([&] { return logged() == reasons; });
  EXPECT_EQ(reasons, logged());
}

TEST_F(Road, WhatAUserMayHaveIsLimitedAndGivenBack) {
  lay_down_installation();
  write_settings("UserClients:\t4\nUserBytes:\t1048576\nUserRegistrations:\t2\nMessageTimeout:\t1\n");
  Daemon daemon;
  ASSERT_EQ(0u, oxaInit(nullptr));
  const auto has = [](const char* column) {
    const std::string shown = get("system:system", ("10.104." + std::string(column) + ".1").c_str());
    return std::stoul(shown.substr(shown.find(" = ") + 3));
  };
  {
    RawClient clients[3];
    for (RawClient& client : clients) ASSERT_TRUE(client.greet());
    RawClient more;
    EXPECT_EQ(85u, more.greeted());
    EXPECT_EQ(4u, has("2"));
    const std::string large = request_bytes({.command = 1, .body = std::string(700'000, 'x')});
    clients[0].send(large.substr(0, large.size() - 1));
    wait_for([&] { return has("3") > 690'000; });
    clients[1].send(large);
    EXPECT_EQ(half(85), clients[1].receive(36).substr(14, 2)) << "it would be too much";
    const std::string open_handle = request_bytes({.command = 10, .body = std::string("prog\0", 5)});
    for (const std::uint32_t result : {0, 0, 85}) {
      clients[2].send(open_handle);
      EXPECT_EQ(half(result), clients[2].receive(36).substr(14, 2));
    }
    EXPECT_EQ(2u, has("4"));
    clients[0].wait_for_end();
    wait_for([&] { return has("3") == 0; });
    EXPECT_EQ(0u, has("3"));
  }
  wait_for([&] { return has("2") == 1 && has("4") == 0; });
  EXPECT_EQ(1u, has("2"));
  EXPECT_EQ(0u, has("4"));
  EXPECT_EQ(3u, has("6"));
  const std::string log = daemon.log();
  for (const char* told : {"refused a connection: there are as many of him as UserClients allows",
                           "dropped: a message that it began did not end in time (MessageTimeout)"}) {
    EXPECT_NE(std::string::npos, log.find(told)) << log;
  }
}

TEST_F(Road, WhoIsOneTooManyIsToldAndTheOthersGoOn) {
  lay_down_installation();
  write_settings("MaxClients:\t2\n");
  Daemon daemon;
  {
    RawClient first;
    RawClient second;
    ASSERT_TRUE(first.greet() && second.greet());
    RawClient mute[100];  // cost nothing lasting
    EXPECT_EQ(394u, oxaInit(nullptr));
    EXPECT_EQ(394u, oxaInit(nullptr));
    mute[99].wait_for_end();
    EXPECT_EQ(394u, oxaInit(nullptr));
    first.send(request_bytes({.command = 99}));
    EXPECT_EQ(half(6), first.receive(36).substr(14, 2));
  }
  OX_RESULT result = 394;
  wait_for([&] { return (result = oxaInit(nullptr)) == 0; });
  EXPECT_EQ(0u, result);
  const std::string log = daemon.log();
  const std::size_t told = log.find("clients are refused: there are as many as MaxClients allows");
  EXPECT_NE(std::string::npos, told);
  EXPECT_EQ(told, log.rfind("clients are refused")) << log;
  EXPECT_NE(std::string::npos, log.find("clients are taken again; refused: 10")) << log;
}

TEST_F(Road, ManySessionsLeaveNothingBehind) {
  Daemon daemon;
  const auto held = [&] {
    std::vector<std::ptrdiff_t> counts = held_by_this_and(daemon.pid());
    counts.push_back(static_cast<std::ptrdiff_t>(oxcGetMemValue(1)));
    return counts;
  };
  const auto open_one = [](int i) {
    ASSERT_EQ(0u, oxaInit(nullptr));
    std::uint32_t lock = 0;
    if (i % 100 == 0) {
      EXPECT_EQ(a_value, get_a_value());
      EXPECT_EQ(0u, oxaCompLock(nullptr, "system:system", 0, &lock)) << "a lock was left by the session before";
    }
    session().close();
  };
  open_one(0);
  const std::vector<std::ptrdiff_t> before = held();
  for (int i = 1; i <= OX_SESSIONS; ++i) open_one(i);
  // The session before may still have been on its way out then, and the runtime keeps what a few threads had. Anything
  // that only one session in fifty left would be more.
  const auto grown = [&] {
    return !std::equal(before.begin(), before.end(), held().begin(),
                       [](auto then, auto now) { return now <= then + 3; });
  };
  wait_for([&] { return !grown(); });
  EXPECT_FALSE(grown()) << testing::PrintToString(before) << " before, now " << testing::PrintToString(held());

  // A manager that has seen them all holds as many blocks as one that has seen one.
  const auto ended = [&] {
    EXPECT_EQ(0, daemon.end());
    const std::string log = daemon.log();
    return log.substr(log.find("ended by signal"));
  };
  const std::string after_all = ended();
  daemon.start();
  open_one(0);
  EXPECT_EQ(ended(), after_all);
  EXPECT_NE(std::string::npos, after_all.find("blocks in use")) << after_all;
}

TEST_F(Road, BackupOfAManagerAtWorkIsRestored) {
  Daemon daemon;
  // The manager's own log entry makes a component more at the next full minute.
  const std::string deleted = run("oxset --delete logEnt:_logEnt1");
  ASSERT_EQ("0 ", deleted.substr(0, 2)) << deleted;
  ASSERT_EQ("0 ", run("oxset --add node:r1 obj.node.nodePort.0 11"));
  EXPECT_EQ("0 ", run("oxmgrd --backup").substr(0, 2));
  EXPECT_EQ(std::to_string(oxcGetCodePage()) + "\n", read_text(work_dir() + "/data/codepage"));
  const std::string at_work = run("oxmgrd --check");
  EXPECT_NE(std::string::npos, at_work.find("components.db: 1 components, 2 attributes, 0 relations")) << at_work;
  EXPECT_EQ("0 ", at_work.substr(0, 2));
  ASSERT_EQ("0 ", run("oxset --add node:r2 obj.node.nodePort.0 12"));
  const std::string folder = std::filesystem::directory_iterator(work_dir() + "/backup")->path().generic_string();
  const std::vector<std::string> restore{"oxmgrd", "--restore", folder};
  EXPECT_EQ("1 ", run_program(restore).substr(0, 2)) << "a manager works on the databases";
  EXPECT_EQ(0, daemon.end());
  const std::string now = run("oxmgrd --check");
  EXPECT_NE(std::string::npos, now.find("components.db: 2 components, 3 attributes, 0 relations")) << now;
  const std::string restored = run_program(restore);
  EXPECT_NE(std::string::npos, restored.find("components.db: 1 components, 2 attributes, 0 relations")) << restored;
  write_file(folder + "/components.db", "no database");
  EXPECT_EQ("1 ", run_program(restore).substr(0, 2));
  daemon.start();
  EXPECT_EQ("0 r1 11\n", run("oxget node:* obj.node.nodePort.0 -f '%C %V\n'"));
}

TEST_F(Road, CheckPrintsEveryFaultWithItsLine) {
  lay_down_installation();
  EXPECT_EQ("0 The installation is sound.\n", without_notes(run("oxmgrd --check")));

  write_file(work_dir() + "/public/amib/site.def",
             "siteA obj.900 AMIBNONE not-accessible NULL-ACS\nsiteB siteA.1 Integer read-only CONF-ACS\n"
             "siteC siteA.2 INTEGER read CONF-ACS\nsiteD siteA.3 INTEGER read-only CONF-ACS\nsiteE nothing.1 INTEGER "
             "read-only CONF-ACS\n");
  write_file(work_dir() + "/public/amib/agent.def",
             "siteF obj.901 UnixTime read-only SNMP-ACS\nsiteG obj.902 Opaque read-write SNMP-ACS\n"
             "siteH obj.903 Opaque read-only SNMP-ACS\nsiteI obj.904 UnixTime read-only CONF-ACS\n");
  write_settings("MaxFrames: 1\n");
  set_value("TimeZone", "Nowhere/Town");
  set_value("CodePage", 1252u);
  write_file(work_dir() + "/data/components.db", "component:\tnode\t\"a\"\n");
  write_file(work_dir() + "/public/trap/USER.DEF", "Enterprise 1.3\nGenericCode *\nSpecificCode *\nSeverity 5\n");
  const std::string messages = home_dir() + "/LIB/LOCALE/0409/OXERROR.MSG";
  write_file(messages, read_file(messages) + "no code\r\n");
  write_file(work_dir() + "/data/codepage", "1\n");
  const std::string output = run("oxmgrd --check");
  EXPECT_EQ("1 ", output.substr(0, 2));
  expect_parts(output, {"obj.siteF: SNMP carries no UnixTime", "obj.siteG: SNMP carries no Opaque",
                        "site.def:2: ", "site.def:3: ", "site.def:5: ", "oxmgrd.cf:1: unknown setting MaxFrames",
                        "components.db:0: file is not a database", "OXERROR.MSG:", ", and was 1 when ",
                        "USER.DEF:4: Severity: ", "TimeZone Nowhere/Town is no zone"});
  for (const char* const sound : {"site.def:4: ", "siteH", "siteI"})
    EXPECT_EQ(output.npos, output.find(sound)) << output;
}

// What others have put into the installation costs nobody but them, and can be asked for later.
TEST_F(Road, FaultyFilesAreLeftOutAndTold) {
  lay_down_installation();
  const std::string folder = work_dir() + "/public/amib/";
  std::string faults;
  for (int i = 0; i < 50; ++i) faults += "x obj." + std::to_string(i + 700) + " INT read-only CONF-ACS\n";
  write_file(folder + "faulty.def", "lost obj.900 AMIBNONE not-accessible NULL-ACS\n" + faults);
  write_file(folder + "good.def",
             "site obj.901 AMIBNONE not-accessible NULL-ACS\nsiteA site.1 INTEGER read-only CONF-ACS\n");
  write_file(folder + "site.enm", "obj.site.siteA:\n{\nup(\n}\n");
  UdpSocket taken;
  write_settings("TrapAddress: 127.0.0.1\nTrapPort: " + std::to_string(taken.port()) + "\n");
  Daemon daemon;
  EXPECT_NE(std::string::npos, daemon.log().find("faulty.def:2: INT: ")) << daemon.log();
  EXPECT_EQ(std::string::npos, daemon.log().find("faulty.def:22: ")) << daemon.log();
  EXPECT_EQ("0 site(901)\n  siteA(1)  INTEGER read-only CONF-ACS\n", run("oxamib tree obj.site"));
  EXPECT_EQ("1 ", run("oxamib tree obj.lost").substr(0, 2));
  EXPECT_EQ("0 v1(0)\nv2c(1)\n", run("oxamib enum obj.node.nodeSnmpVersion"));
  expect_parts(run("oxget system:system sysmib.oxFaults -f '%AN %V\n'"),
               {"0 10.101.1.0 53\n10.101.2.1 ", "faulty.def:2: INT: ", "faulty.def:0: left out",
                "site.enm:3: up(: ", "no traps are received on 127.0.0.1:"});
  expect_parts(run("oxevent log list"), {"faulty.def has faults", "site.enm has faults"});
  expect_parts(run("oxevent log list --min-level 4"),
               {"no traps are received on 127.0.0.1:" + std::to_string(taken.port())});
  EXPECT_EQ(0, daemon.end());
}

}  // namespace
}  // namespace ox::test
