// The real daemon, the real library, a real agent.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <thread>

#include <oxbase/oxa.h>
#include <oxbase/oxb.h>
#include <oxbase/oxc.h>

#include "platform/linux/root.h"
#include "platform/named_event.h"
#include "tests/road/daemon.h"
#include "tests/road/raw_client.h"
#include "tests/support/shipped_installation.h"
#include "tests/support/snmpd.h"
#include "tests/support/system_root.h"
#include "tests/support/udp_socket.h"

namespace ox::test {
namespace {

namespace fs = std::filesystem;

struct Setting {
  const char* name;
  std::string text;
};

OX_RESULT add_component(const char* type, const char* name) {
  dnode* list = nullptr;
  EXPECT_EQ(0u, oxdSetAllData(&list, nullptr, nullptr, "10.7.1.0", 0, 0, 0, OX_DISPLAYSTRING,
                              reinterpret_cast<std::uintptr_t>(type), 0));
  EXPECT_EQ(0u, oxdSetAllData(&list, nullptr, nullptr, "10.7.8.0", 0, 0, 0, OX_DISPLAYSTRING,
                              reinterpret_cast<std::uintptr_t>(name), 0));
  const OX_RESULT result = oxaMgmtControl(nullptr, 5, list, nullptr);
  (void)oxdFree(list);
  return result;
}

OX_RESULT set(const char* type, const char* name, const std::vector<Setting>& settings) {
  dnode* list = oxdAlloc(static_cast<std::uint32_t>(settings.size()));
  dnode* node = list;
  for (const Setting& setting : settings) {
    EXPECT_EQ(0u, oxdSetCompType(node, type));
    EXPECT_EQ(0u, oxdSetCompName(node, name));
    EXPECT_EQ(0u, oxdSetAmibName(node, setting.name));
    EXPECT_EQ(0u, oxdSetValueByStr(node, 0, setting.text.c_str())) << setting.name;
    node = oxdNext(node);
  }
  const OX_RESULT result = oxaSet(nullptr, 0, 20, list, nullptr);
  (void)oxdFree(list);
  return result;
}

OX_RESULT add_agent(const char* name, std::uint16_t port, const char* version) {
  if (const OX_RESULT result = add_component("node", name)) return result;
  return set("node", name,
             {{"obj.node.nodeAddress.0", "127.0.0.1"},
              {"obj.node.nodePort.0", std::to_string(port)},
              {"obj.node.nodeReadCommunity.0", "public"},
              {"obj.node.nodeWriteCommunity.0", "private"},
              {"obj.node.nodeSnmpVersion.0", version},
              {"obj.node.nodeTimeout.0", "2000"}});
}

// The result, then one "path = value" or "path ! code" for each node.
std::string get(const std::string& component, const char* names) {
  dnode* list = nullptr;
  std::string shown = std::to_string(oxaGet(nullptr, component.c_str(), names, nullptr, 0, 20, &list));
  for (dnode* node = list; node != nullptr; node = oxdNext(node)) {
    const char* path = "";
    (void)oxdGetAmibName(node, &path);
    std::uint32_t code = 0;
    (void)oxdGetErrCode(node, &code);
    shown += std::string("\n") + path;
    shown += code != 0 ? " ! " + std::to_string(code) : std::string(" = ") + oxdGetValueByRawStr(node);
  }
  (void)oxdFree(list);
  return shown;
}

std::size_t count_entries(const fs::path& directory) {
  return static_cast<std::size_t>(std::distance(fs::directory_iterator(directory), fs::directory_iterator()));
}

// The shared objects of this system root.
std::size_t count_objects() {
  const std::string prefix = platform::root()->prefix;
  std::size_t count = 0;
  for (const auto& entry : fs::directory_iterator("/dev/shm")) {
    if (entry.path().filename().string().starts_with(prefix)) ++count;
  }
  return count;
}

// Requests of a client that the daemon has not dropped yet may still hold something; that ends soon.
template <class Count>
std::size_t settled(std::size_t expected, Count count) {
  for (int i = 0; i < 500 && count() > expected; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return count();
}

TEST(Road, ApplicationReadsWalksAndSetsARealAgent) {
  Daemon daemon;
  Snmpd agent(system_root() + "/agent");
  ASSERT_EQ(0u, oxaInit(nullptr));
  for (const char* version : {"0", "1"}) {
    SCOPED_TRACE(version);
    const std::string name = std::string("v") + version;
    const std::string component = "node:" + name;
    ASSERT_EQ(0u, add_agent(name.c_str(), agent.port(), version));
    EXPECT_EQ("0\n1.3.6.1.2.1.1.1.0 = agent of the tests", get(component, ".system.sysDescr.0"));

    const std::string system = get(component, ".system");
    EXPECT_EQ(0u, system.find("0\n1.3.6.1.2.1.1.1.0 = agent of the tests\n1.3.6.1.2.1.1.2.0 = ")) << system;
    EXPECT_NE(std::string::npos, system.find("\n1.3.6.1.2.1.1.9.1.3.1 = ")) << system;
    EXPECT_EQ(std::string::npos, system.find("\n1.3.6.1.2.1.2")) << system;

    const std::string place = "rack " + name;
    EXPECT_EQ(0u, set("node", name.c_str(), {{".system.sysLocation.0", place}, {".system.sysContact.0", "me"}}));
    EXPECT_EQ("0\n1.3.6.1.2.1.1.4.0 = me\n1.3.6.1.2.1.1.6.0 = " + place,
              get(component, ".system.{sysContact,sysLocation}.0"));

    EXPECT_EQ("125", get(component, ".system.sysNoSuch.0"));
    EXPECT_EQ(0u, get(component, ".1.1.5,.1.5.0").find("121\n1.3.6.1.2.1.1.1.5 ! 157\n1.3.6.1.2.1.1.5.0 = "));
  }
  EXPECT_EQ("84", get("node:other", "11.1.1.0"));
  EXPECT_EQ(0, daemon.end());
}

TEST(Road, ManagerKilledInTheMiddleOfARequest) {
  Daemon daemon;
  UdpSocket silent;
  ASSERT_EQ(0u, oxaInit(nullptr));
  ASSERT_EQ(0u, add_agent("silent", silent.port(), "1"));
  std::thread killer([&] {
    EXPECT_NE("", silent.receive(std::chrono::seconds(20)));
    daemon.kill();
  });
  EXPECT_EQ("17", get("node:silent", ".system.sysDescr.0"));
  EXPECT_EQ("14", get("system:system", "11.1.1.0")) << "the session is gone";
  killer.join();
}

TEST(Road, AcknowledgedSetsSurviveKillAndTheNextStartFindsNoLeftover) {
  std::string component = "node:r0";
  {
    Daemon daemon;
    ASSERT_EQ(0u, oxaInit(nullptr));
    for (int i = 0; i < 20; ++i) {
      ASSERT_EQ(0u, add_component("node", ("r" + std::to_string(i)).c_str()));
      ASSERT_EQ(0u, set("node", ("r" + std::to_string(i)).c_str(), {{"obj.node.nodePort.0", std::to_string(100 + i)}}));
    }
    daemon.kill();
    daemon.start();
    RawClient client;
    ASSERT_EQ(0u, client.greet());
    for (int i = 0; i < 20; ++i) {
      EXPECT_EQ("0 11.5.2.0 = " + std::to_string(100 + i), client.get("node:r" + std::to_string(i), "11.5"));
    }
  }
}

TEST(Road, ClientsThatMisbehaveAreDroppedAndCostTheOthersNothing) {
  lay_down_installation();
  write_file(work_dir() + "/conf/oxmgrd.cf", "GreetingTimeout:\t1\nSendTimeout:\t1\nMaxQueue:\t4\n");
  Daemon daemon;
  ASSERT_EQ(0u, oxaInit(nullptr));
  RawClient mute;
  RawClient rubbish;
  ASSERT_EQ(0u, rubbish.greet());
  rubbish.send("GET / HTTP/1.0\r\n\r\n");
  rubbish.wait_for_end();
  RawClient huge;
  ASSERT_EQ(0u, huge.greet());
  std::string message = RawClient::message(1, 1, "x");
  message[17] = '\x7F';
  huge.send(message);
  huge.wait_for_end();
  mute.wait_for_end();
  {
    RawClient cut;  // goes away in the middle of a message
    ASSERT_EQ(0u, cut.greet());
    cut.send(message.substr(0, 30));
  }
  RawClient broken;  // a sound frame with a broken payload is answered
  ASSERT_EQ(0u, broken.greet());
  EXPECT_EQ(71u, broken.ask(1, 1, "\x7F"));
  EXPECT_EQ("0 11.1.1.0 = system", broken.get("system:system", "11.1.1.0"));
  EXPECT_EQ("0\n11.1.1.0 = system", get("system:system", "11.1.1.0"));

  const std::string log = daemon.log();
  for (const char* reason :
       {"dropped: no greeting in time", "dropped: bad header length", "dropped: message too large"}) {
    const std::size_t first = log.find(reason);
    EXPECT_NE(std::string::npos, first) << reason << '\n' << log;
    EXPECT_EQ(std::string::npos, log.find(reason, first + 1)) << log;
  }
}

TEST(Road, ClientThatDoesNotReadItsAnswersIsDropped) {
  lay_down_installation();
  write_file(work_dir() + "/conf/oxmgrd.cf", "SendTimeout:\t1\n");
  Daemon daemon;
  RawClient client;
  ASSERT_EQ(0u, client.greet());
  std::thread writer([&] {
    const std::string request =
        RawClient::message(1, 1,
                           RawClient::text("system:system") +
                               RawClient::text("11.1.1.{0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0}") + std::string(10, '\0'));
    // Ends with the connection: nothing reads the answers, so the manager stops reading the requests.
    for (int i = 0; i < 20000; ++i) client.send(request);
  });
  writer.join();
  EXPECT_NE(std::string::npos, daemon.log().find("dropped: answer not read in time")) << daemon.log();
}

TEST(Road, TwoThousandSessionsLeaveNothingBehind) {
  Daemon daemon;
  const fs::path descriptors = "/proc/" + std::to_string(daemon.pid()) + "/fd";
  const auto open_once = [](int i) {
    const std::string name = "Global\\0x" + std::to_string(i) + "0x1";
    platform::NamedEvent event;
    ASSERT_EQ(0u, event.create(name.c_str(), platform::Access::daemon));
    RawClient client;
    ASSERT_EQ(0u, client.greet(name));
    if (i % 100 == 0) {
      EXPECT_EQ("0 11.1.1.0 = system", client.get("system:system", "11.1.1.0"));
      EXPECT_EQ(0u, client.ask(1, 14, RawClient::text("system:system") + std::string("\0\0\0\1", 4)));
    }
  };
  open_once(0);
  const auto open_descriptors = [&] { return count_entries(descriptors); };
  const std::size_t files_before = settled(0, open_descriptors);
  const std::size_t blocks_before = count_objects();
  for (int i = 1; i <= 2000; ++i) open_once(i);
  EXPECT_EQ(files_before, settled(files_before, open_descriptors));
  EXPECT_GE(blocks_before, count_objects());
  RawClient client;
  ASSERT_EQ(0u, client.greet());
  EXPECT_EQ(0u, client.ask(1, 14, RawClient::text("system:system") + std::string(4, '\0'))) << "a lock was left";
}

TEST(Road, SecondManagerStandsBackAndTheFirstEndsCleanly) {
  Daemon daemon;
  EXPECT_THROW(
      {
        try {
          Daemon second;
        } catch (const std::runtime_error& error) {
          EXPECT_NE(nullptr, std::strstr(error.what(), "another manager serves this system")) << error.what();
          throw;
        }
      },
      std::runtime_error);
  EXPECT_EQ(0, daemon.end());
  EXPECT_EQ(0xFFFFu, [] {
    try {
      return RawClient().greet();
    } catch (const std::runtime_error&) {
      return 0xFFFFu;
    }
  }());
}

TEST(Road, CheckPrintsEveryFaultWithItsLine) {
  std::string output;
  EXPECT_EQ(0, check_installation(output)) << output;

  const std::string amib = work_dir() + "/public/amib";
  write_file(amib + "/site.def",
             "siteA obj.900 AMIBNONE not-accessible NULL-ACS\nsiteB siteA.1 Integer read-only CONF-ACS\n"
             "siteC siteA.2 INTEGER read CONF-ACS\nsiteD siteA.3 INTEGER read-only CONF-ACS\nsiteE nothing.1 INTEGER "
             "read-only CONF-ACS\n");
  write_file(work_dir() + "/conf/oxmgrd.cf", "MaxFrames: 1\n");
  write_file(work_dir() + "/data/components.def", "component:\tnode\t\"a\"\n");
  const std::string messages = home_dir() + "/LIB/LOCALE/0409/OXERROR.MSG";
  write_file(messages, read_file(messages) + "no code\r\n");
  EXPECT_EQ(1, check_installation(output));
  for (const char* fault : {"site.def:2: ", "site.def:3: ", "site.def:5: ", "oxmgrd.cf:1: unknown setting MaxFrames",
                            "components.def:1: the end is missing", "OXERROR.MSG:"}) {
    EXPECT_NE(std::string::npos, output.find(fault)) << fault << " in:\n" << output;
  }
  EXPECT_EQ(std::string::npos, output.find("site.def:4: ")) << output;
}

}  // namespace
}  // namespace ox::test
