// SNMP values from an agent that answers as it is told to.
#include <atomic>
#include <functional>
#include <thread>

#include <oxbase/oxs.h>

#include "manager/snmp_binding.h"
#include "manager/stored_value.h"
#include "tests/manager/bench_manager.h"
#include "tests/support/udp_socket.h"

namespace ox::manager {
namespace {

// An agent with integer values in order of their names.
class ScriptedAgent {
 public:
  std::map<Oid, std::uint32_t> values;
  std::size_t most_bindings = 100;  // more are too big
  int silent = 0;                   // requests left unanswered first
  bool version_1 = false;           // errors instead of exception values
  bool stuck = false;               // get-next answers the same name again
  std::function<std::uint32_t(const Oid&)> refuse = [](const Oid&) { return 0u; };  // error status by name
  std::atomic<int> requests = 0;

  ~ScriptedAgent() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
  }
  void start() {
    thread_ = std::thread([this] { run(); });
  }
  [[nodiscard]] std::uint16_t port() const { return socket_.port(); }

 private:
  void run() {
    while (!stop_) {
      std::uint16_t from = 0;
      const std::string datagram = socket_.receive(std::chrono::milliseconds(20), &from);
      oxsSnmpMessage message{};
      if (datagram.empty() ||
          oxsSnmpDecode(datagram.data(), static_cast<std::uint32_t>(datagram.size()), &message) != OX_OK) {
        continue;
      }
      ++requests;
      if (silent-- <= 0) answer(message, from);
      (void)oxsSnmpFree(&message);
    }
  }

  void answer(oxsSnmpMessage& message, std::uint16_t to) {
    NodeList bindings;
    std::uint32_t index = 0;
    message.errorStatus = 0;
    for (const dnode* node = message.bindings; node != nullptr; node = oxdNext(node)) {
      ++index;
      NodePtr answered = binding(message.pduType, path_of(node), node, message.errorStatus);
      if (message.errorStatus != 0 && message.errorIndex == 0) message.errorIndex = index;
      bindings.add(std::move(answered));
    }
    if (index > most_bindings) {
      message.errorStatus = 1;
      message.errorIndex = 0;
    }
    message.pduType = OXS_RESPONSE;
    std::swap(*bindings.out(), message.bindings);
    void* bytes = nullptr;
    std::uint32_t length = 0;
    EXPECT_EQ(0u, oxsSnmpEncode(&message, &bytes, &length));
    const std::string reply(static_cast<const char*>(bytes), length);
    (void)oxcMemFree(bytes);
    socket_.send("no answer at all", to);
    socket_.send(reply, to);
    socket_.send(reply, to);  // the network may double a datagram
  }

  NodePtr binding(std::uint32_t pdu, const Oid& name, const dnode* asked, std::uint32_t& status) {
    auto found = pdu == OXS_GETNEXT && !stuck ? values.upper_bound(name) : values.find(name);
    if (status == 0) status = refuse(name);
    if (found == values.end()) {
      if (status == 0) status = 2;  // no exception values in the codec's encoder
      return NodePtr(oxdCopy(asked));
    }
    if (pdu == OXS_SET && status == 0) (void)oxdGetValueByUlong(asked, &found->second);
    NodePtr node = error_node(found->first, 0);
    (void)oxdSetLong(node.get(), static_cast<std::int32_t>(found->second));
    return node;
  }

  test::UdpSocket socket_;
  std::atomic<bool> stop_ = false;
  std::thread thread_;
};

const Oid interfaces{1, 3, 6, 1, 2, 1, 2};

Oid under_interfaces(std::initializer_list<std::uint32_t> rest) {
  Oid path = interfaces;
  path.insert(path.end(), rest);
  return path;
}

class SnmpTest : public ManagerTest {
 protected:
  void SetUp() override {
    settings_.snmp_timeout = 200;
    settings_.snmp_retries = 2;
    ManagerTest::SetUp();
    (void)manage(5, {{1, "node"}, {8, "r1"}});
    ASSERT_EQ('0', set({{"node:r1", "11.5.1.0", "127.0.0.1"},
                        {"node:r1", "11.5.2.0", std::to_string(agent_.port())},
                        {"node:r1", "11.5.3.0", "public"},
                        {"node:r1", "11.5.5.0", "0"}})[0]);
    agent_.values[under_interfaces({1, 0})] = 3;  // ifNumber
    for (std::uint32_t column : {1u, 7u, 8u, 10u}) {
      for (std::uint32_t row = 1; row <= 3; ++row)
        agent_.values[under_interfaces({2, 1, column, row})] = 10 * column + row;
    }
  }

  ScriptedAgent agent_;
};

TEST_F(SnmpTest, InstancesWithRefusedOnesAmongThem) {
  agent_.start();
  EXPECT_EQ(
      "121\n"
      "node:r1 1.3.6.1.2.1.2.1.0 = 3\n"
      "node:r1 1.3.6.1.2.1.2.2.1.7.9 ! 157\n"
      "node:r1 1.3.6.1.2.1.2.2.1.7.2 = 72\n",
      get("node:r1", ".interfaces.{ifNumber.0,ifTable.ifEntry.ifAdminStatus.{9,2}}"));
  EXPECT_EQ("121\nsystem:system 1.3.6.1.2.1.2.1.0 ! 157\n", get("system:system", ".2.1.0"));
}

TEST_F(SnmpTest, WalkKeepsToItsSubtreeAndBatchesItsColumns) {
  agent_.start();
  EXPECT_EQ(
      "0\n"
      "node:r1 1.3.6.1.2.1.2.2.1.7.1 = 71\n"
      "node:r1 1.3.6.1.2.1.2.2.1.7.2 = 72\n"
      "node:r1 1.3.6.1.2.1.2.2.1.7.3 = 73\n",
      get("node:r1", ".interfaces.ifTable.ifEntry.ifAdminStatus"));
  agent_.requests = 0;
  const std::string whole = get("node:r1", ".interfaces");
  EXPECT_EQ(14, std::count(whole.begin(), whole.end(), '\n')) << whole;
  // 23 columns in two batches; a version 1 agent refuses the ones behind its last name one by one.
  EXPECT_LT(agent_.requests, 40);
  EXPECT_EQ("0\nnode:r1 1.3.6.1.2.1.2.2.1.7.2 = 72\nnode:r1 1.3.6.1.2.1.2.2.1.8.2 = 82\n",
            get("node:r1", ".2.2.1.7.2,.2.2.1.8.2"));
}

TEST_F(SnmpTest, AgentThatRepeatsItsNameEndsTheWalk) {
  agent_.stuck = true;
  agent_.start();
  EXPECT_EQ("122", get("node:r1", ".interfaces.ifTable.ifEntry.ifAdminStatus"));
}

TEST_F(SnmpTest, LostRequestsAreRepeatedAndSilenceIsAnError) {
  agent_.silent = 2;
  agent_.start();
  EXPECT_EQ("0\nnode:r1 1.3.6.1.2.1.2.1.0 = 3\n", get("node:r1", ".2.1.0"));
  EXPECT_EQ(3, agent_.requests);
  agent_.silent = 1000;
  agent_.requests = 0;
  EXPECT_EQ("121\nnode:r1 1.3.6.1.2.1.2.1.0 ! 158\nnode:r1 1.3.6.1.2.1.2.2.1.7 ! 158\n",
            get("node:r1", ".2.1.0,.2.2.1.7"));
  EXPECT_EQ(6, agent_.requests) << "three attempts of each of two requests";
}

TEST_F(SnmpTest, TimeOutOfTheRequestComesFirst) {
  agent_.silent = 1000;
  agent_.start();
  (void)set({{"node:r1", "11.5.6.0", "60000"}});
  EXPECT_EQ("121\nnode:r1 1.3.6.1.2.1.2.1.0 ! 158\nnode:r1 1.3.6.1.2.1.2.2.1 ! 158\n",
            get("node:r1", ".2.1.0,.2.2.1", 1));
}

TEST_F(SnmpTest, TooBigIsSplit) {
  agent_.most_bindings = 3;
  agent_.start();
  const std::string answer = get("node:r1", ".2.2.1.{1,7,8,10}.{1,2,3}");
  EXPECT_EQ("0\n", answer.substr(0, 2));
  EXPECT_EQ(13, std::count(answer.begin(), answer.end(), '\n')) << answer;
  EXPECT_EQ(get("node:r1", ".2.2.1"), answer);
}

TEST_F(SnmpTest, SetMapsTheAgentsErrors) {
  (void)manage(5, {{1, "ruleEnt"}, {8, "r"}});
  agent_.refuse = [](const Oid& name) { return name.back() == 2 ? 17u : name.back() == 3 ? 5u : 0u; };
  agent_.start();
  EXPECT_EQ("0\nnode:r1 1.3.6.1.2.1.2.2.1.7.1\nruleEnt:r 11.13.4.0\n",
            set({{"node:r1", "1.3.6.1.2.1.2.2.1.7.1", "2"}, {"ruleEnt:r", "11.13.4.0", "5"}}));
  EXPECT_EQ("0\nnode:r1 1.3.6.1.2.1.2.2.1.7.1 = 2\n", get("node:r1", ".2.2.1.7.1"));
  EXPECT_EQ("121\nnode:r1 1.3.6.1.2.1.2.2.1.7.1 ! 144\nnode:r1 1.3.6.1.2.1.2.2.1.7.2 ! 5\n",
            set({{"node:r1", "1.3.6.1.2.1.2.2.1.7.1", "1"}, {"node:r1", "1.3.6.1.2.1.2.2.1.7.2", "1"}}));
  EXPECT_EQ("144\nnode:r1 1.3.6.1.2.1.2.2.1.7.3 ! 144\n", set({{"node:r1", "1.3.6.1.2.1.2.2.1.7.3", "1"}}));
  EXPECT_EQ("5\nnode:r1 1.3.6.1.2.1.2.1.0 ! 5\n", set({{"node:r1", "1.3.6.1.2.1.2.1.0", "1"}}))
      << "read-only in the AMIB";
}

TEST_F(SnmpTest, OtherRequestsAreServedWhileAnAgentIsSilent) {
  agent_.silent = 1000;
  agent_.start();
  PayloadWriter payload;
  payload.text("node:r1");
  payload.text(".2.1.0");
  payload.u32(0);
  payload.u32(0);
  payload.u16(0);
  Message message;
  message.type = 1;
  message.command = 1;
  message.data = std::move(payload.out());
  bool answered = false;
  route(*manager_, {1, message, [&](const Reply&) { answered = true; }});
  EXPECT_EQ("0\nsystem:system 11.1.1.0 = system\n", get("system:system", "11.1.1.0"));
  EXPECT_FALSE(answered);
  while (!answered && loop_.run_one() != 0) {
  }
  EXPECT_TRUE(answered);
}

}  // namespace
}  // namespace ox::manager
