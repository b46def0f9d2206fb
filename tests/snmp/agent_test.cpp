// The codec against real tools. Against a real agent it is put by the shipped definitions and the manager.
#include "tests/snmp/packet.h"
#include "tests/snmp/test_message.h"
#include "tests/support/machine_process.h"
#include "tests/support/system_root.h"
#include "tests/support/texts.h"
#include "tests/support/udp_socket.h"

namespace ox::test {
namespace {

using namespace std::chrono_literals;

// One value of every type, answered to the tools in turn, and what they print of it.
const struct {
  Stored value;
  const char* printed;
} answers[] = {
    {{OX_INTEGER, bytes("FFFFFF7F")}, "INTEGER: -129"},
    {{OX_COUNTER, bytes("FFFFFFFF")}, "Counter32: 4294967295"},
    {{OX_GAUGE, bytes("00000080")}, "Gauge32: 128"},
    {{OX_TIMETICKS, bytes("0000000A")}, "Timeticks: (10) 0:00:00.10"},
    {{OX_COUNTER64, bytes("FFFFFFFFFFFFFFFF")}, "Counter64: 18446744073709551615"},
    {{OX_IPADDRESS, bytes("0A0B0C0D")}, "IpAddress: 10.11.12.13"},
    {{OX_DISPLAYSTRING, bytes("'a text'00")}, "STRING: \"a text\""},
    {{OX_OCTETSTRING, bytes("00FF")}, "Hex-STRING: 00 FF"},
    {{OX_OBJECTID, bytes("'1.3.6.1.4.1.64312.4294967295'00")}, "OID: .1.3.6.1.4.1.64312.4294967295"},
};

// Runs a tool against a socket of the test's own, which answers with the values of `answers`. Its request must come out
// of the codec byte for byte. Gives what the tool printed.
std::string run(std::vector<std::string> arguments, const std::vector<std::string>& operands) {
  const std::string folder = system_root() + "/tools";
  const std::string output = folder + "/output";
  write_file(output, "");
  UdpSocket agent;
  arguments.insert(arguments.end(), {"-m", "", "-On", "-r0", "-t5", agent.address()});
  arguments.insert(arguments.end(), operands.begin(), operands.end());
  MachineProcess tool(arguments, output, folder);
  std::uint16_t from = 0;
  const std::string request = agent.receive(20s, &from);
  Message message;
  EXPECT_EQ(0u, decode(request, message)) << read_file(output);
  EXPECT_EQ(request, encoded(message));
  std::size_t next = 0;
  for (dnode* node = message.bindings; node != nullptr && message.pduType != OXS_SET; node = oxdNext(node)) {
    set_raw(node, answers[next++ % std::size(answers)].value);
  }
  message.pduType = OXS_RESPONSE;
  agent.send(encoded(message), from);
  EXPECT_EQ(0, tool.wait(20s));
  return read_file(output);
}

TEST(Tools, RequestsComeThroughByteForByteAndAnswersAreUnderstood) {
  std::vector<std::string> names;
  for (const auto& answer : answers)
    names.push_back(".1.3.6.1.4.1.64312.1." + std::to_string((&answer - answers) * 1000));
  for (const char* version : {"-v1", "-v2c"}) {
    for (const char* tool : {"snmpget", "snmpgetnext"}) {
      SCOPED_TRACE(std::string(tool) + version);
      const std::string printed = run({tool, version, "-c", "community of the tests"}, names);
      for (std::size_t i = 0; i < std::size(answers); ++i) {
        EXPECT_NE(std::string::npos, printed.find(names[i] + " = " + answers[i].printed)) << printed;
      }
    }
  }
}

TEST(Tools, SetRequestsOfEveryType) {
  std::vector<std::string> operands;
  for (const std::string& value : split("i 0|i -2147483648|u 4294967295|t 128|a 255.0.0.1|s |x 0080FF|n 0|"
                                        "o .1.3.16384.2097152.4294967295|s " +
                                        repeated("x", 300))) {
    const std::string name = ".1.3.6.1.4.1.64312.2." + std::to_string(operands.size());
    operands.insert(operands.end(), {name, value.substr(0, 1), value.substr(2)});
  }
  for (const char* version : {"-v1", "-v2c"}) {
    const std::string printed = run({"snmpset", version, "-c", "private"}, operands);
    EXPECT_NE(std::string::npos, printed.find("INTEGER: -2147483648")) << printed;
  }
}

}  // namespace
}  // namespace ox::test
