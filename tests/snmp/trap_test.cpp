// Traps byte for byte.
#include <cstring>

#include "tests/snmp/packet.h"
#include "tests/snmp/test_message.h"
#include "tests/support/fault_heap.h"
#include "tests/support/system_root.h"
#include "tests/support/texts.h"

namespace ox::test {
namespace {

using namespace std::string_literals;

struct Trap : Owned<oxsSnmpTrap, oxsSnmpTrapFree> {
  Trap() = default;
  // Community "c", agent 10.0.0.1, time 256, request 1.
  Trap(uint32_t version_, uint32_t type, const std::string& enterprise_, uint32_t generic, uint32_t specific) {
    version = version_;
    set_community("c");
    pduType = type;
    if (enterprise_ != "-") enterprise = static_cast<char*>(block_of(enterprise_ + '\0'));
    std::memcpy(&agentAddress, "\x0A\0\0\x01", 4);
    genericTrap = generic;
    specificTrap = specific;
    timeStamp = 256;
    requestId = 1;
  }
};

OX_RESULT encode(const oxsSnmpTrap* trap, std::string* wire = nullptr) {
  return take_block([&](void** block, uint32_t* length) { return oxsSnmpTrapEncode(trap, block, length); }, wire);
}

OX_RESULT decode(std::string_view wire, oxsSnmpTrap& trap) {
  return give_block(wire, [&](void* block, uint32_t size) { return oxsSnmpTrapDecode(block, size, &trap); });
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
std::string identifier(const std::string& content) { return element(0x06, bytes(content)); }

constexpr char uptime[] = "0608 2B06010201010300";
constexpr char trap_oid[] = "060A 2B060106030101040100";
constexpr char trap_enterprise[] = "060A 2B060106030101040300";
constexpr char other[] = "06012B";  // 1.3
std::string oid(const std::string& content) { return fact(trap_oid, identifier(content)); }
const std::string time_256 = fact(uptime, bytes("43020100"));

class SnmpTrap : public testing::Test {
  const SameBlocks same_blocks_;
};

TEST_F(SnmpTrap, EncodedTrapsAreThoseBytes) {
  const std::string numbers = bytes("40040A000001 020106 020105 43020100");
  const std::string own = element(0x30, bytes(other) + bytes("0500"));
  const auto version2 = [&](const std::string& facts) {
    return wire_of(1, 0xA7, bytes("020101 020100 020100") + element(0x30, own + facts));
  };
  const std::string longest = "1.3" + repeated(".1", 509);
  const std::tuple<const char*, uint32_t, uint32_t, std::string, uint32_t, std::string> cases[] = {
      {"version 1", 0, OXS_TRAP, "1.3.6.1.4.1.64312.2", 6,
       wire_of(0, 0xA4, identifier("2B0601040183F63802") + numbers + element(0x30, own))},
      {"no enterprise, and version and PDU type mixed", 1, OXS_TRAP, "-", 6,
       wire_of(1, 0xA4, bytes("0600") + numbers + element(0x30, own))},
      {"the caller's bindings first", 1, OXS_TRAP2, "1.3.6.1.4.1.64312.2", 6,
       version2(time_256 + oid("2B0601040183F638020005"))},
      {"a generic trap", 1, OXS_TRAP2, "1.3.6.1.6.3.1.1.5", 2, version2(time_256 + oid("2B06010603010105 03"))},
      {"a prefix by its characters", 1, OXS_TRAP2, "1.3.6.1.6.3.1.1.55", 0xFFFFFFFF,
       version2(time_256 + oid("2B06010603010137 00"))},
      {"no identifier without enterprise", 1, OXS_TRAP2, "", 2, version2(time_256)},
      {"the longest enterprise", 1, OXS_TRAP2, longest, 6,
       version2(time_256 + oid("2B" + repeated("01", 509) + "0005"))},
      {"one too long", 1, OXS_TRAP2, longest + "1", 6, version2(time_256)}};
  for (const auto& [what, version, type, enterprise, generic, expected] : cases) {
    SCOPED_TRACE(what);
    Trap trap(version, type, enterprise, generic, 5);
    add_binding(trap.bindings, "1.3", {OX_NULL, "\0"s});
    std::string wire;
    EXPECT_EQ(0u, encode(&trap, &wire));
    EXPECT_EQ(expected, wire);
    EXPECT_EQ(nullptr, oxdNext(trap.bindings));
  }
}

TEST_F(SnmpTrap, TheEncoderRefuses) {
  EXPECT_EQ(111u, encode(nullptr));
  const std::tuple<uint32_t, uint32_t, const char*, uint32_t> refused[] = {
      {2, OXS_TRAP, "1.3", 0},          {1, OXS_INFORM, "1.3", 0}, {1, 5, "1.3", 0},
      {0, OXS_RESPONSE, "1.3", 0},      {0, OXS_TRAP, "1.3.", 0},  {1, OXS_TRAP2, "1.a", 0},
      {1, OXS_TRAP2, "1.3", 0x80000000}};
  for (const auto& [version, type, enterprise, specific] : refused) {
    const Trap trap(version, type, enterprise, 6, specific);
    EXPECT_EQ(111u, encode(&trap)) << type << " " << enterprise;
  }
  Trap valueless(0, OXS_TRAP, "1.3", 6, 1);
  valueless.bindings = oxdAlloc(1);
  EXPECT_EQ(111u, encode(&valueless));
}

TEST_F(SnmpTrap, DecodedTrapsAreInTheTermsOfVersion1) {
  const std::string link_down = oid("2B06010603010105 03");
  const std::string enterprise = fact(trap_enterprise, identifier("2B0601040183F638"));
  const auto with_oid = [&](const char* content) { return time_256 + oid(content); };
  const std::pair<std::string, const char*> cases[] = {
      {time_256 + link_down, "1.3.6.1.6.3.1.1.5 2 0 256 1"},
      {link_down + enterprise + time_256, "1.3.6.1.4.1.64312 2 0 256 1"},
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
      {time_256 + fact(uptime, bytes("43010A")) + link_down + oid("2B07"), "1.3 6 7 10 1"},
      {fact(uptime, bytes("410107")) + fact(trap_oid, bytes("0400")) + fact(trap_enterprise, bytes("0400")),
       "- 0 0 7 1 1.3.6.1.6.3.1.1.4.1.0=8 1.3.6.1.6.3.1.1.4.3.0=8"},
      {fact(uptime, bytes("0403 'abc'")) + fact(other, bytes("020105")) + link_down,
       "1.3.6.1.6.3.1.1.5 2 0 0 1 1.3.6.1.2.1.1.3.0=8 1.3=1"},
      {fact(uptime, bytes("8000")) + fact(trap_oid, bytes("0500")),
       "- 0 0 0 1 1.3.6.1.2.1.1.3.0=-1 1.3.6.1.6.3.1.1.4.1.0=13"}};
  for (const auto& [bindings, expected] : cases) {
    for (const int tag : {0xA6, 0xA7}) {
      const std::string pdu = bytes("020101 020100 020100") + element(0x30, bindings);
      Trap trap;
      EXPECT_EQ(0u, decode(wire_of(1, tag, pdu), trap)) << expected;
      EXPECT_EQ(std::to_string(tag - 0xA0) + " " + expected, print(trap));
      Trap as_it_stands;
      EXPECT_EQ(0u, decode(wire_of(0, tag, pdu), as_it_stands)) << expected;
      EXPECT_EQ(nullptr, as_it_stands.enterprise);
      EXPECT_EQ(bindings.empty(), as_it_stands.bindings == nullptr);
    }
  }
  const std::string pdu =
      bytes("06012B 40040A0B0C0D 0201FF 0204FFFFFFFF 430500FFFFFFFF") + element(0x30, fact(uptime, bytes("430101")));
  Trap trap, cleared;
  ASSERT_EQ(0u, decode(wire_of(0, 0xA4, pdu) + "trailing", trap));
  EXPECT_EQ("4 1.3 4294967295 4294967295 4294967295 0 1.3.6.1.2.1.1.3.0=4", print(trap));
  EXPECT_EQ(0, std::memcmp(&trap.agentAddress, "\x0A\x0B\x0C\x0D", 4));
  EXPECT_EQ('c', *trap.community);
  EXPECT_EQ(1u, trap.communityLength);
  ASSERT_EQ(0u, decode(wire_of(1, 0xA4, pdu), cleared));
  EXPECT_EQ("4 - 0 0 1 0", print(cleared));
  EXPECT_EQ(0u, cleared.agentAddress);
}

TEST_F(SnmpTrap, TheDecoderRefuses) {
  const std::tuple<const char*, uint32_t, int, const char*> cases[] = {
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
      {"a number of 33 bits", 0, 0xA4, "06012B 40040A000001 020106 020500FFFFFFFF 430100 3000"},
      {"no bindings", 0, 0xA4, "06012B 40040A000001 020106 020101 430100"},
      {"a number too few", 1, 0xA7, "020101 020100 3000"},
      {"a malformed end", 0, 0xA4, "06012B 40040A000001 020106 020101 430100 3000 30010500"}};
  for (const auto& [what, version, tag, pdu] : cases) {
    oxsSnmpTrap trap;
    std::memset(&trap, 0x5A, sizeof trap);
    EXPECT_EQ(112u, decode(wire_of(version, tag, bytes(pdu)), trap)) << what;
    EXPECT_EQ(0, std::memcmp(&trap, std::string(sizeof trap, '\0').data(), sizeof trap)) << what;
  }
  Trap trap;
  EXPECT_EQ(1u, oxsSnmpTrapDecode(nullptr, 4, &trap));
}

std::vector<std::string> samples() {
  std::string values;
  for (const char* value :
       {"0203123456", "410500FFFFFFFF", "460400000001", "40047F000001", "0403616200", "06062B8134030405"}) {
    values += binding(bytes(value));
  }
  const std::string facts = time_256 + oid("2B0601040183F638020011") + fact(trap_enterprise, identifier("2B06"));
  return {wire_of(0, 0xA4, bytes("06022B06 40040A000001 020106 020105 43020100") + element(0x30, values)),
          wire_of(1, 0xA7, bytes("020101 020100 020100") + element(0x30, facts + values)),
          wire_of(1, 0xA6, bytes("020101 020100 020100") + element(0x30, facts + values))};
}

TEST_F(SnmpTrap, CutAndDamagedTrapsAreRefusedOrWhole) {
  const auto taken = [](std::string_view wire) {
    Trap trap;
    const OX_RESULT result = decode(wire, trap);
    EXPECT_FALSE(result == 0 && print(trap).empty());
    return result;
  };
  std::vector<std::string> messages = samples();
  for (const char* name : {"v1", "v2c", "inform"}) messages.push_back(read_file(OX_CAPTURED + std::string(name)));
  for (const std::string& good : messages) EXPECT_GT(cut_and_damage(good, taken, 112), 700);
}

TEST_F(SnmpTrap, InformsAreAnsweredWithTheirOwnBytes) {
  const std::string inform = samples()[2];
  std::string expected = inform, answer;
  expected[expected.find('\xA6')] = '\xA2';
  for (const auto& [wire, result] :
       {std::pair{inform + "trailing", 0u}, {samples()[1], 112u}, {inform.substr(0, 30), 112u}}) {
    EXPECT_EQ(result, give_block(wire, [&](void* from, uint32_t size) {
                return take_block(
                    [&](void** to, uint32_t* length) { return oxsSnmpInformAnswer(from, size, to, length); }, &answer);
              }));
    EXPECT_EQ(result == 0 ? expected : "", answer);
  }
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
    add_binding(trap.bindings, "1.3", {OX_OCTETSTRING, std::string(5000, 'x')});  // more than a call's stack
    every_allocation_may_fail([&] { return encode(&trap); });
  }
}

}  // namespace
}  // namespace ox::test
