// Traps byte for byte.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <oxbase/oxc.h>
#include <oxbase/oxs.h>

#include "tests/snmp/packet.h"
#include "tests/snmp/test_message.h"
#include "tests/support/byte_text.h"
#include "tests/support/fault_heap.h"

namespace ox::test {
namespace {

using namespace std::string_literals;

struct Trap : oxsSnmpTrap {
  Trap() : oxsSnmpTrap{} {}
  Trap(const Trap&) = delete;
  Trap& operator=(const Trap&) = delete;
  ~Trap() { oxsSnmpTrapFree(this); }

  // Community "c", agent 10.0.0.1, time 256, request 1.
  Trap(uint32_t version_, uint32_t type, const char* enterprise_, uint32_t generic, uint32_t specific) : Trap() {
    version = version_;
    community = static_cast<unsigned char*>(oxcMemAlloc(1, "test"));
    *community = 'c';
    communityLength = 1;
    pduType = type;
    if (enterprise_ != nullptr) {
      const auto size = static_cast<uint32_t>(std::strlen(enterprise_) + 1);
      enterprise = static_cast<char*>(oxcMemAlloc(size, "test"));
      std::memcpy(enterprise, enterprise_, size);
    }
    std::memcpy(&agentAddress, "\x0A\0\0\x01", 4);
    genericTrap = generic;
    specificTrap = specific;
    timeStamp = 256;
    requestId = 1;
  }
  void bind(const char* name, const Stored& value) {
    dnode* node = oxdAlloc(1);
    ASSERT_EQ(0u, oxdSetAmibName(node, name));
    set_raw(node, value);
    oxcQueueAdd(&bindings, node);
  }
};

OX_RESULT encode(const oxsSnmpTrap* trap, std::string& wire) {
  void* buffer = &wire;
  uint32_t length = 77;
  const OX_RESULT result = oxsSnmpTrapEncode(trap, &buffer, &length);
  EXPECT_TRUE(result == 0 || (buffer == nullptr && length == 0));
  wire.assign(static_cast<const char*>(buffer), length);
  oxcMemFree(buffer);
  return result;
}

// From a block of exactly the bytes' size, so that an overread is seen.
OX_RESULT decode(std::string_view wire, oxsSnmpTrap& trap) {
  const auto block = std::make_unique<char[]>(wire.size());
  wire.copy(block.get(), wire.size());
  return oxsSnmpTrapDecode(block.get(), static_cast<uint32_t>(wire.size()), &trap);
}

// All of a decoded trap: "type enterprise generic specific time request [name=type ...]".
std::string print(const oxsSnmpTrap& trap) {
  EXPECT_EQ(0u, trap.version);
  std::string text = std::to_string(trap.pduType) + " " + (trap.enterprise != nullptr ? trap.enterprise : "-");
  for (const uint32_t number : {trap.genericTrap, trap.specificTrap, trap.timeStamp, trap.requestId}) {
    text += " " + std::to_string(number);
  }
  for (const dnode* node = trap.bindings; node != nullptr; node = oxdNext(node)) {
    text += " "s + name_of(node) + "=" + std::to_string(oxdGetValueType(node));
  }
  return text;
}

std::string wire_of(uint32_t version, int tag, const std::string& pdu) {
  return element(0x30, bytes("0201") + static_cast<char>(version) + bytes("0401 'c'") + element(tag, pdu));
}
std::string fact(const char* name, const std::string& value) { return element(0x30, bytes(name) + value); }
std::string identifier(const char* content) { return element(0x06, bytes(content)); }

constexpr char uptime[] = "0608 2B06010201010300";
constexpr char trap_oid[] = "060A 2B060106030101040100";
constexpr char trap_enterprise[] = "060A 2B060106030101040300";
constexpr char other[] = "06012B";  // 1.3

class SnmpTrap : public testing::Test {
 protected:
  void SetUp() override { before_ = oxcGetMemValue(1); }
  void TearDown() override { EXPECT_EQ(before_, oxcGetMemValue(1)); }

 private:
  uint32_t before_ = 0;
};

TEST_F(SnmpTrap, EncodedTrapsAreThoseBytes) {
  const std::string numbers = bytes("40040A000001 020106 020105 43020100");
  const std::string own = element(0x30, bytes(other) + bytes("0500"));
  const std::string time = fact(uptime, bytes("43020100"));
  const auto version2 = [&](const std::string& facts) {
    return wire_of(1, 0xA7, bytes("020101 020100 020100") + element(0x30, own + facts));
  };
  std::string long_enterprise = "1.3";
  while (long_enterprise.size() < 1021) long_enterprise += ".1";
  const std::string long_content = "2B" + [] {
    std::string ones;
    for (int i = 0; i < 509; ++i) ones += "01";
    return ones;
  }();
  const std::string too_long = long_enterprise + "1";
  const struct {
    const char* what;
    uint32_t version, type;
    const char* enterprise;
    uint32_t generic, specific;
    std::string wire;
  } cases[] = {
      {"version 1", 0, OXS_TRAP, "1.3.6.1.4.1.64312.2", 6, 5,
       wire_of(0, 0xA4, identifier("2B0601040183F63802") + numbers + element(0x30, own))},
      {"no enterprise, and version and PDU type mixed", 1, OXS_TRAP, nullptr, 6, 5,
       wire_of(1, 0xA4, bytes("0600") + numbers + element(0x30, own))},
      {"the caller's bindings first", 1, OXS_TRAP2, "1.3.6.1.4.1.64312.2", 6, 5,
       version2(time + fact(trap_oid, identifier("2B0601040183F638020005")))},
      {"a generic trap", 1, OXS_TRAP2, "1.3.6.1.6.3.1.1.5", 2, 5,
       version2(time + fact(trap_oid, identifier("2B06010603010105 03")))},
      {"a prefix by its characters", 1, OXS_TRAP2, "1.3.6.1.6.3.1.1.55", 0xFFFFFFFF, 5,
       version2(time + fact(trap_oid, identifier("2B06010603010137 00")))},
      {"no identifier without enterprise", 1, OXS_TRAP2, "", 2, 5, version2(time)},
      {"the longest enterprise", 1, OXS_TRAP2, long_enterprise.c_str(), 6, 5,
       version2(time + fact(trap_oid, identifier((long_content + "0005").c_str())))},
      {"one too long", 1, OXS_TRAP2, too_long.c_str(), 6, 5, version2(time)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Trap trap(c.version, c.type, c.enterprise, c.generic, c.specific);
    trap.bind("1.3", {OX_NULL, "\0"s});
    std::string wire;
    EXPECT_EQ(0u, encode(&trap, wire));
    EXPECT_EQ(c.wire, wire);
    EXPECT_EQ(nullptr, oxdNext(trap.bindings));
  }
}

TEST_F(SnmpTrap, TheEncoderRefuses) {
  std::string wire;
  EXPECT_EQ(111u, encode(nullptr, wire));
  const struct {
    uint32_t version, type;
    const char* enterprise;
    uint32_t specific;
  } cases[] = {{2, OXS_TRAP, "1.3", 0},          {1, OXS_INFORM, "1.3", 0}, {1, 5, "1.3", 0},
               {0, OXS_RESPONSE, "1.3", 0},      {0, OXS_TRAP, "1.3.", 0},  {1, OXS_TRAP2, "1.a", 0},
               {1, OXS_TRAP2, "1.3", 0x80000000}};
  for (const auto& c : cases) {
    EXPECT_EQ(111u, encode(std::make_unique<Trap>(c.version, c.type, c.enterprise, 6, c.specific).get(), wire));
  }
  Trap valueless(0, OXS_TRAP, "1.3", 6, 1);
  valueless.bindings = oxdAlloc(1);
  EXPECT_EQ(111u, encode(&valueless, wire));
  void* buffer = nullptr;
  EXPECT_EQ(1u, oxsSnmpTrapEncode(&valueless, &buffer, nullptr));
}

TEST_F(SnmpTrap, DecodedTrapsAreInTheTermsOfVersion1) {
  const std::string time = fact(uptime, bytes("43020100"));
  const std::string link_down = fact(trap_oid, identifier("2B06010603010105 03"));
  const std::string enterprise = fact(trap_enterprise, identifier("2B0601040183F638"));
  const auto with_oid = [&](const char* content) { return time + fact(trap_oid, identifier(content)); };
  const struct {
    std::string bindings;
    const char* expected;
  } cases[] = {
      {time + link_down, "1.3.6.1.6.3.1.1.5 2 0 256 1"},
      {link_down + enterprise + time, "1.3.6.1.4.1.64312 2 0 256 1"},
      {link_down + fact(trap_enterprise, bytes("0600")), "1.3.6.1.6.3.1.1.5 2 0 0 1"},
      {with_oid("2B0601040183F638020011"), "1.3.6.1.4.1.64312.2 6 17 256 1"},
      {with_oid("2B0601040183F6380211"), "1.3.6.1.4.1.64312.2 6 17 256 1"},
      {with_oid("2B0601040183F6380211") + enterprise, "1.3.6.1.4.1.64312.2 6 17 256 1"},
      {with_oid("2B0601040183F638020000"), "1.3.6.1.4.1.64312.2 6 0 256 1"},
      {with_oid("2B0601040183F638028FFFFFFF7F"), "1.3.6.1.4.1.64312.2 6 4294967295 256 1"},
      {with_oid("2B06010603010105 00"), "1.3.6.1.6.3.1.1.5 4294967295 0 256 1"},
      {with_oid("2B06010603010105"), "1.3.6.1.6.3.1.1 4 0 256 1"},
      {with_oid("2B06010603010137 04"), "1.3.6.1.6.3.1.1.55 3 0 256 1"},
      {with_oid("2B"), "1 6 3 256 1"},
      {with_oid("00"), "- 6 0 256 1"},
      {with_oid(""), "- 6 0 256 1"},
      {"", "- 0 0 0 1"},
      {enterprise, "- 0 0 0 1"},
      // Of several the last one counts; a fact of another type is an ordinary binding.
      {time + fact(uptime, bytes("43010A")) + link_down + fact(trap_oid, identifier("2B07")), "1.3 6 7 10 1"},
      {fact(uptime, bytes("410107")) + fact(trap_oid, bytes("0400")), "- 0 0 7 1 1.3.6.1.6.3.1.1.4.1.0=8"},
      {fact(uptime, bytes("0403 'abc'")) + fact(other, bytes("020105")) + link_down,
       "1.3.6.1.6.3.1.1.5 2 0 0 1 1.3.6.1.2.1.1.3.0=8 1.3=1"},
      {fact(uptime, bytes("8000")) + fact(trap_oid, bytes("0500")),
       "- 0 0 0 1 1.3.6.1.2.1.1.3.0=-1 1.3.6.1.6.3.1.1.4.1.0=13"},
  };
  for (const auto& c : cases) {
    for (const int tag : {0xA6, 0xA7}) {
      const std::string pdu = bytes("020101 020100 020100") + element(0x30, c.bindings);
      Trap trap;
      EXPECT_EQ(0u, decode(wire_of(1, tag, pdu), trap)) << c.expected;
      EXPECT_EQ(std::to_string(tag - 0xA0) + " " + c.expected, print(trap));
      Trap as_it_stands;
      EXPECT_EQ(0u, decode(wire_of(0, tag, pdu), as_it_stands)) << c.expected;
      EXPECT_EQ(nullptr, as_it_stands.enterprise);
      EXPECT_EQ(c.bindings.empty(), as_it_stands.bindings == nullptr);
    }
  }
  const std::string pdu =
      bytes("06012B 40040A0B0C0D 0201FF 020500FFFFFFFF 430500FFFFFFFF") + element(0x30, fact(uptime, bytes("430101")));
  Trap trap;
  EXPECT_EQ(112u, decode(wire_of(0, 0xA4, pdu), trap));
  std::string fitting = pdu;
  fitting.replace(fitting.find(bytes("020500")), 3, bytes("0204"));
  ASSERT_EQ(0u, decode(wire_of(0, 0xA4, fitting) + "trailing", trap));
  EXPECT_EQ("4 1.3 4294967295 4294967295 4294967295 0 1.3.6.1.2.1.1.3.0=4", print(trap));
  EXPECT_EQ(0, std::memcmp(&trap.agentAddress, "\x0A\x0B\x0C\x0D", 4));
  EXPECT_EQ("c", std::string(reinterpret_cast<char*>(trap.community), trap.communityLength));
  Trap cleared;
  ASSERT_EQ(0u, decode(wire_of(1, 0xA4, fitting), cleared));
  EXPECT_EQ("4 - 0 0 1 0", print(cleared));
  EXPECT_EQ(0u, cleared.agentAddress);
}

TEST_F(SnmpTrap, TheDecoderRefuses) {
  const struct {
    const char* what;
    uint32_t version;
    int tag;
    const char* pdu;
  } cases[] = {
      {"a response", 1, 0xA2, "020101 020100 020100 3000"},
      {"a bulk request", 1, 0xA5, "020101 020100 020100 3000"},
      {"a report", 1, 0xA8, "020101 020100 020100 3000"},
      {"version 3", 3, 0xA7, "020101 020100 020100 3000"},
      {"an address of 3 bytes", 0, 0xA4, "06012B 40030A0000 020106 020101 430100 3000"},
      {"an address of 5 bytes", 0, 0xA4, "06012B 40050A00000000 020106 020101 430100 3000"},
      {"no address", 0, 0xA4, "06012B 020106 020101 430100 3000"},
      {"an enterprise that is none", 0, 0xA4, "0500 40040A000001 020106 020101 430100 3000"},
      {"a cut enterprise", 0, 0xA4, "060181 40040A000001 020106 020101 430100 3000"},
      {"a time of another type", 0, 0xA4, "06012B 40040A000001 020106 020101 020100 3000"},
      {"no bindings", 0, 0xA4, "06012B 40040A000001 020106 020101 430100"},
      {"a number too few", 1, 0xA7, "020101 020100 3000"},
      {"a malformed end", 0, 0xA4, "06012B 40040A000001 020106 020101 430100 3000 30010500"},
  };
  for (const auto& c : cases) {
    oxsSnmpTrap trap;
    std::memset(&trap, 0x5A, sizeof trap);
    EXPECT_EQ(112u, decode(wire_of(c.version, c.tag, bytes(c.pdu)), trap)) << c.what;
    EXPECT_EQ(0, std::memcmp(&trap, std::string(sizeof trap, '\0').data(), sizeof trap)) << c.what;
  }
  Trap trap;
  EXPECT_EQ(1u, oxsSnmpTrapDecode(nullptr, 4, &trap));
  EXPECT_EQ(1u, oxsSnmpTrapDecode("\x30", 1, nullptr));
}

std::vector<std::string> samples() {
  const std::string values = fact(other, bytes("0203123456")) + fact(other, bytes("410500FFFFFFFF")) +
                             fact(other, bytes("460400000001")) + fact(other, bytes("40047F000001")) +
                             fact(other, bytes("0403616200")) + fact(other, bytes("06062B8134030405"));
  const std::string facts = fact(uptime, bytes("43020100")) + fact(trap_oid, identifier("2B0601040183F638020011")) +
                            fact(trap_enterprise, identifier("2B06"));
  return {wire_of(0, 0xA4, bytes("06022B06 40040A000001 020106 020105 43020100") + element(0x30, values)),
          wire_of(1, 0xA7, bytes("020101 020100 020100") + element(0x30, facts + values)),
          wire_of(1, 0xA6, bytes("020101 020100 020100") + element(0x30, facts + values))};
}

TEST_F(SnmpTrap, CutAndDamagedTrapsAreRefusedOrWhole) {
  int survivors = 0;
  for (const std::string& good : samples()) {
    for (std::size_t at = 0; at < good.size(); ++at) {
      Trap part;
      ASSERT_EQ(112u, decode(std::string_view(good).substr(0, at), part)) << at;
      for (int change = 1; change < 256; ++change) {
        std::string damaged = good;
        damaged[at] = static_cast<char>(damaged[at] ^ change);
        Trap trap;
        const OX_RESULT result = decode(damaged, trap);
        ASSERT_TRUE(result == 0 || result == 112) << at << " " << change << " " << result;
        survivors += result == 0 && !print(trap).empty() ? 1 : 0;
      }
    }
  }
  EXPECT_GT(survivors, 3000);
}

TEST_F(SnmpTrap, InformsAreAnsweredWithTheirOwnBytes) {
  const auto answer_to = [](const std::string& wire, std::string& answer) {
    void* buffer = nullptr;
    uint32_t length = 0;
    const OX_RESULT result = oxsSnmpInformAnswer(wire.data(), static_cast<uint32_t>(wire.size()), &buffer, &length);
    answer.assign(static_cast<char*>(buffer), length);
    oxcMemFree(buffer);
    return result;
  };
  const std::vector<std::string> messages = samples();
  const std::string& inform = messages[2];
  std::string answer;
  EXPECT_EQ(0u, answer_to(inform + "trailing", answer));
  std::string expected = inform;
  expected[expected.find('\xA6')] = '\xA2';
  EXPECT_EQ(expected, answer);
  EXPECT_EQ(112u, answer_to(messages[1], answer));
  EXPECT_EQ(112u, answer_to(inform.substr(0, 30), answer));
}

TEST_F(SnmpTrap, EveryAllocationMayFail) {
  for (const std::string& wire : samples()) {
    every_allocation_may_fail([&] {
      Trap trap;
      return oxsSnmpTrapDecode(wire.data(), static_cast<uint32_t>(wire.size()), &trap);
    });
  }
  for (const uint32_t type : {OXS_TRAP, OXS_TRAP2}) {
    Trap trap(0, type, "1.3.6.1.4.1.64312.2", 6, 5);
    trap.bind("1.3", {OX_OCTETSTRING, std::string(5000, 'x')});  // more than a call keeps on its stack
    every_allocation_may_fail([&] {
      void* buffer = nullptr;
      uint32_t length = 0;
      const OX_RESULT result = oxsSnmpTrapEncode(&trap, &buffer, &length);
      oxcMemFree(buffer);
      return result;
    });
  }
}

}  // namespace
}  // namespace ox::test
