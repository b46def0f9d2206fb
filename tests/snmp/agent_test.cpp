// The codec against real tools and a real agent.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/snmp/packet.h"
#include "tests/snmp/test_message.h"
#include "tests/support/child_process.h"
#include "tests/support/snmpd.h"
#include "tests/support/system_root.h"
#include "tests/support/udp_socket.h"

namespace ox::test {
namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

// One value of every type, answered to the tools in turn, and what they print of it.
const struct {
  Stored value;
  const char* printed;
} answers[] = {
    {{OX_INTEGER, hex("FFFFFF7F")}, "INTEGER: -129"},
    {{OX_COUNTER, hex("FFFFFFFF")}, "Counter32: 4294967295"},
    {{OX_GAUGE, hex("00000080")}, "Gauge32: 128"},
    {{OX_TIMETICKS, hex("0000000A")}, "Timeticks: (10) 0:00:00.10"},
    {{OX_COUNTER64, hex("FFFFFFFFFFFFFFFF")}, "Counter64: 18446744073709551615"},
    {{OX_IPADDRESS, hex("0A0B0C0D")}, "IpAddress: 10.11.12.13"},
    {{OX_DISPLAYSTRING, "a text\0"s}, "STRING: \"a text\""},
    {{OX_OCTETSTRING, hex("00FF")}, "Hex-STRING: 00 FF"},
    {{OX_OBJECTID, "1.3.6.1.4.1.64312.4294967295\0"s}, "OID: .1.3.6.1.4.1.64312.4294967295"},
};

class Tools : public testing::Test {
 protected:
  // Runs a tool against a socket of the test's own, which answers with the values of `answers`. Gives what the tool
  // printed.
  std::string run(std::vector<std::string> arguments, const std::vector<std::string>& operands) {
    const std::string folder = system_root() + "/tools";
    const std::string output = folder + "/output";
    write_file(output, "");
    UdpSocket agent;
    arguments.insert(arguments.end(), {"-m", "", "-On", "-r0", "-t5", agent.address()});
    arguments.insert(arguments.end(), operands.begin(), operands.end());
    ChildProcess tool(arguments, output, Snmpd::environment(folder));
    std::uint16_t from = 0;
    const std::string request = agent.receive(20s, &from);
    Message message;
    EXPECT_EQ(0u, decode(request, message)) << read_file(output);
    EXPECT_EQ(request, encoded(message));
    if (message.pduType != OXS_SET) fill(message);
    message.pduType = OXS_RESPONSE;
    agent.send(encoded(message), from);
    EXPECT_EQ(0, tool.wait(20s));
    return read_file(output);
  }

 private:
  static void fill(Message& message) {
    std::size_t next = 0;
    for (dnode* node = message.bindings; node != nullptr; node = oxdNext(node)) {
      set_raw(node, answers[next++ % std::size(answers)].value);
    }
  }
};

TEST_F(Tools, RequestsComeThroughByteForByteAndAnswersAreUnderstood) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < std::size(answers); ++i)
    names.push_back(".1.3.6.1.4.1.64312.1." + std::to_string(i * 1000));
  for (const char* version : {"-v1", "-v2c"}) {
    for (const char* tool : {"snmpget", "snmpgetnext"}) {
      SCOPED_TRACE(std::string(tool) + version);
      const std::string printed = run({tool, version, "-c", "community of the tests"}, names);
      for (std::size_t i = 0; i < std::size(answers); ++i) {
        EXPECT_NE(std::string::npos, printed.find(names[i] + " = " + answers[i].printed)) << printed;
      }
    }
  }
  std::vector<std::string> many;
  for (int i = 0; i < 60; ++i) many.push_back(".1.3.6.1.2.1.2.2.1." + std::to_string(i) + ".16777216");
  EXPECT_NE(std::string::npos, run({"snmpget", "-v2c", "-c", ""}, many).find(".59.16777216 = IpAddress"));
}

TEST_F(Tools, SetRequestsOfEveryType) {
  const std::string name = ".1.3.6.1.4.1.64312.2.";
  std::vector<std::string> operands;
  const std::vector<std::vector<std::string>> values = {
      {"i", "0"},
      {"i", "-2147483648"},
      {"u", "4294967295"},
      {"t", "128"},
      {"a", "255.0.0.1"},
      {"s", ""},
      {"s", std::string(300, 'x')},
      {"x", "0080FF"},
      {"o", ".1.3.6.1.4.1.64312.16384.2097152.4294967295"},
      {"n", "0"},
  };
  for (const auto& value : values) {
    operands.insert(operands.end(), {name + std::to_string(operands.size()), value[0], value[1]});
  }
  for (const char* version : {"-v1", "-v2c"}) {
    SCOPED_TRACE(version);
    const std::string printed = run({"snmpset", version, "-c", "private"}, operands);
    EXPECT_NE(std::string::npos, printed.find("INTEGER: -2147483648")) << printed;
    EXPECT_NE(std::string::npos, printed.find("IpAddress: 255.0.0.1")) << printed;
  }
}

class Agent : public testing::Test {
 protected:
  // Sends a request and decodes the answer; false when none comes.
  bool ask(const oxsSnmpMessage& request, Message& answer, bool null = true) {
    std::string bytes;
    EXPECT_EQ(0u, encode(request, bytes, null ? oxsSnmpEncodeWithNull : oxsSnmpEncode));
    socket_.send(bytes, agent_.port());
    const std::string reply = socket_.receive(2s);
    if (reply.empty()) return false;
    EXPECT_EQ(0u, decode(reply, answer));
    EXPECT_EQ(uint32_t{OXS_RESPONSE}, answer.pduType);
    EXPECT_EQ(request.requestId, answer.requestId);
    return true;
  }

  static void fill(Message& message, uint32_t version, uint32_t type, const char* community, const char* name,
                   const Stored& value = {OX_NULL, "\0"s}) {
    message.version = version;
    message.pduType = type;
    message.requestId = 0xFEDCBA98;  // negative on the wire
    message.set_community(community);
    add(message.bindings, name, value);
  }

 private:
  Snmpd agent_{system_root() + "/agent"};
  UdpSocket socket_;
};

TEST_F(Agent, AnswersWhatIsEncoded) {
  for (const uint32_t version : {OXS_V1, OXS_V2C}) {
    SCOPED_TRACE(version);
    Message get;
    Message answer;
    fill(get, version, OXS_GET, "public", "1.3.6.1.2.1.1.1.0");
    ASSERT_TRUE(ask(get, answer));
    EXPECT_EQ(0u, answer.errorStatus);
    EXPECT_EQ("agent of the tests", value_of(answer.bindings).bytes);

    Message missing;
    Message refused;
    fill(missing, version, OXS_GET, "public", "1.3.6.1.2.1.1.1.1");
    ASSERT_TRUE(ask(missing, refused));
    uint32_t code = 0;
    EXPECT_EQ(version == OXS_V1 ? 2u : 0u, refused.errorStatus);  // noSuchName
    EXPECT_EQ(version == OXS_V1 ? 31u : 0u, oxdGetErrCode(refused.bindings, &code));
    EXPECT_EQ(version == OXS_V1 ? 0u : 157u, code);

    const Stored contact{OX_DISPLAYSTRING, "the operator of version " + std::to_string(version) + "\0"s};
    Message set;
    Message done;
    fill(set, version, OXS_SET, "private", "1.3.6.1.2.1.1.4.0", contact);
    ASSERT_TRUE(ask(set, done, false));
    EXPECT_EQ(0u, done.errorStatus);
    Message again;
    Message read;
    fill(again, version, OXS_GET, "public", "1.3.6.1.2.1.1.4.0");
    ASSERT_TRUE(ask(again, read));
    EXPECT_EQ(contact.bytes, value_of(read.bindings).bytes + '\0');
  }
}

TEST_F(Agent, IsWalkedToTheEnd) {
  std::string name = "1.3.6.1.2.1";
  int values = 0;
  for (bool end = false; !end; ++values) {
    ASSERT_LT(values, 100000);
    Message next;
    Message answer;
    fill(next, OXS_V2C, OXS_GETNEXT, "public", name.c_str());
    ASSERT_TRUE(ask(next, answer)) << name;
    ASSERT_EQ(0u, answer.errorStatus);
    uint32_t code = 0;
    end = oxdGetErrCode(answer.bindings, &code) == 0;
    EXPECT_TRUE(end || std::string(name_of(answer.bindings)) != name) << name;
    name = name_of(answer.bindings);
    if (name.compare(0, 17, "1.3.6.1.2.1.25.4.") == 0) break;  // the processes of this machine come and go
  }
  EXPECT_GT(values, 200);
}

}  // namespace
}  // namespace ox::test
