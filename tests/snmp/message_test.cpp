// The codec of SNMP messages, byte for byte.
#include <algorithm>
#include <cstring>

#include "tests/amib/tree_fixture.h"
#include "tests/snmp/packet.h"
#include "tests/snmp/test_message.h"
#include "tests/support/fault_heap.h"
#include "tests/support/texts.h"
#include "tests/support/traced.h"

namespace ox::test {
namespace {

const Stored null{OX_NULL, bytes("00")};

class SnmpMessage : public TreeTest {
  const SameBlocks same_blocks_;
};

TEST_F(SnmpMessage, RequestsAreThoseBytes) {
  Message get, empty;
  get.set_community("public");
  get.requestId = 1;
  add_binding(get.bindings, "1.3.6.1.2.1.1.1.0", null);
  empty.version = OXS_V2C;
  empty.pduType = OXS_SET;
  empty.requestId = 0x80000000;
  empty.errorStatus = 128;
  empty.errorIndex = 0xFFFFFFFF;
  for (const auto& [message, wire] :
       {std::pair{&get, "3026 020100 0406'public' A019 020101 020100 020100 300E 300C 06082B06010201010100 0500"},
        {&empty, "3016 020101 0400 A30F 0204 80000000 0202 0080 0201 FF 3000"}}) {
    Message back;
    EXPECT_EQ(bytes(wire), encoded(*message));
    ASSERT_EQ(0u, decode(bytes(wire) + "trailing", back));
    EXPECT_EQ(bytes(wire), encoded(back));
    EXPECT_EQ(message == &get, back.bindings != nullptr);
  }
}

TEST_F(SnmpMessage, OnlyTheFirstValueIsMadeNull) {
  Message message({OX_INTEGER, bytes("00000005")});
  add_binding(message.bindings, "1.4", {OX_INTEGER, bytes("00000006")});
  EXPECT_EQ(response(binding(bytes("0500")) + bytes("3006 06012C 020106")), encoded(message, oxsSnmpEncodeWithNull));
  // A refused call leaves nothing behind for the next one.
  message.version = 2;
  EXPECT_EQ(111u, encode(message, nullptr, oxsSnmpEncodeWithNull));
  message.version = 1;
  EXPECT_EQ(response(binding(bytes("020105")) + bytes("3006 06012C 020106")), encoded(message));
  oxdClrValue(message.bindings);
  EXPECT_EQ(0u, encode(message, nullptr, oxsSnmpEncodeWithNull));
  EXPECT_EQ(111u, encode(message, nullptr));
}

enum Way { both, out, in };  // coded both ways; accepted on encoding or on decoding only

TEST_F(SnmpMessage, NamesAndValues) {
  load_small_tree();
  ASSERT_EQ(0u, add("more.def",
                    "sysNet system.2 NetworkAddress read-only SNMP-ACS\n"
                    "sysPhys system.3 PhysAddress read-only SNMP-ACS\n"));
  const struct {
    Way way;
    uint32_t type;      // 0: no value but an error code
    const char* forms;  // as stored = as an element
    const char* name = "1.3";
    const char* identifier = "06012B";
  } rows[] = {
      {both, OX_INTEGER,
       "00000000 = 020100|0000007F = 02017F|00000080 = 02020080|FFFFFFFF = 0201FF|FFFFFF80 = 020180|"
       "FFFFFF7F = 0202FF7F|0000FFFF = 020300FFFF|7FFFFFFF = 02047FFFFFFF|80000000 = 020480000000"},
      {out, OX_INTEGER, "FFFFFFFFFFFFFFFFFE = 0201FE"},
      // The sign is that of the first byte.
      {in, OX_INTEGER, "00000080 = 0203000080|00000001 = 0206000000000001|FFFFFF80 = 0203FFFF80"},
      {both, OX_COUNTER, "00000000 = 410100|00000080 = 41020080|FFFFFFFF = 410500FFFFFFFF"},
      {out, OX_COUNTER, "80 = 41020080"},
      {in, OX_COUNTER, "FFFFFFFF = 4104FFFFFFFF"},  // without guard
      {both, OX_GAUGE, "7FFFFFFF = 42047FFFFFFF"},
      {both, OX_TIMETICKS, "00010000 = 4303010000"},
      {in, OX_TIMETICKS, "000000FF = 4301FF"},
      {both, OX_COUNTER64,
       "0000000000000000 = 460100|8000000000000000 = 4609008000000000000000|"
       "FFFFFFFFFFFFFFFF = 460900FFFFFFFFFFFFFFFF"},
      {in, OX_COUNTER64, "0000000000000001 = 460A00000000000000000001"},
      {both, OX_IPADDRESS, "7F000001 = 40047F000001"},
      {out, OX_NETWORKADDRESS, "0A000001 = 40040A000001"},
      {both, OX_OCTETSTRING, "61006200 = 040461006200| = 0400"},
      {in, OX_OCTETSTRING, "'abc' = 240B 040161 2402 0400 04026263| = 2400"},  // joined segments
      {out, OX_DISPLAYSTRING, "'abc'00 = 0403'abc'|'abc' = 0403'abc'"},
      {out, OX_PHYSADDRESS, "0080FF = 04030080FF"},
      {out, OX_IPV6ADDRESS, "FE80 = 0402FE80"},
      {both, OX_NULL, "00 = 0500"},
      {in, OX_NULL, "00 = 0501FF"},
      {in, OX_OPAQUE, "9F78043F800000 = 44079F78043F800000| = 4400"},
      {both, OX_OBJECTID,
       "'1.3.6.1.4.1.64312.2'00 = 06092B0601040183F63802|00 = 0600|'0.0'00 = 060100|'2.100'00 = 06028134|"
       "'1.39.127.128.16383.16384.2097151'00 = 060C 4F7F 8100 FF7F 818000 FFFF7F|"
       "'1.3.2097152.268435455.268435456.4294967295'00 = 0613 2B 81808000 FFFFFF7F 8180808000 8FFFFFFF7F"},
      {in, 0, " = 8000| = 8100| = 8200"},
      {in, OX_INTEGER, "00000005 = 02830000 0105", "1.3", "0681012B"},  // lengths in long form
      {in, OX_INTEGER, "00000005 = 020105 020106"},                     // a third field
      {both, OX_NULL, "00 = 0500", "2.100", "06028134"},
      {in, OX_NULL, "00 = 0500", "2.4294967215", "06058FFFFFFF7F"},
      // The tree tells texts and addresses.
      {both, OX_DISPLAYSTRING, "'abc'00 = 0403'abc'", "1.3.6.1.2.1.1.1", "06072B060102010101"},
      {both, OX_NETWORKADDRESS, "0A000001 = 40040A000001", "1.3.6.1.2.1.1.2", "06072B060102010102"},
      {both, OX_PHYSADDRESS, "'abc' = 0403'abc'", "1.3.6.1.2.1.1.3", "06072B060102010103"},
      {out, OX_NULL, "00 = 0500", "2", "060150"},
      {out, OX_NULL, "00 = 0500", nullptr, "0600"},
      {out, OX_NULL, "00 = 0500", "1.003.06", "06022B06"},
      {out, OX_NULL, "00 = 0500", "1.3.4294967297", "06022B01"},  // wraps
  };
  for (const auto& row : rows) {
    for (const std::string& form : split(row.forms)) {
      SCOPED_TRACE(row.identifier + (": " + form));
      const auto equal = form.find('=');
      const Stored value{row.type, bytes(form.substr(0, equal))};
      const std::string wire = response(element(0x30, bytes(row.identifier) + bytes(form.substr(equal + 1))));
      EXPECT_TRUE(row.way == in || wire == encoded(Message(value, row.name)));
      if (row.way == out) continue;
      Message back;
      ASSERT_EQ(0u, decode(wire, back));
      EXPECT_STREQ(row.name, name_of(back.bindings));
      const Stored read = value_of(back.bindings);
      EXPECT_EQ(row.type, read.type);
      EXPECT_TRUE(row.type == OX_NULL || value.bytes == read.bytes);
      uint32_t code = 0;
      EXPECT_EQ(row.type == 0 ? 0u : 31u, oxdGetErrCode(back.bindings, &code));
      EXPECT_EQ(row.type == 0 ? 157u : 0u, code);
    }
  }
}

TEST_F(SnmpMessage, TheEncoderRefuses) {
  const std::pair<std::vector<uint32_t>, std::vector<std::string>> refused[] = {
      {{OX_OBJECTID}, {"1.3.", ".1.3", "1..3", ".", "1.3.a", bytes("'1.3'00'.4'"), "-1.3"}},
      {{OX_INTEGER, OX_COUNTER64}, {""}},
      {{OX_IPADDRESS}, {"abc"}},
      {{OX_UNIXTIME, OX_OPAQUE, OX_DELETED, OX_IPXADDRESS, OX_CODESTRING, 0, 17, 0xFFFFFFFF}, {"0123456789"}}};
  for (const auto& [types, values] : refused) {
    for (const uint32_t type : types) {
      for (const std::string& value : values) {
        Message message({type, value});
        add_binding(message.bindings, "1.3", null);
        EXPECT_EQ(111u, encode(message, nullptr)) << type << " " << value;
      }
    }
  }
  const std::string arcs = "1" + repeated(".1", 4095);
  EXPECT_EQ(response(binding(element(0x06, "\x29" + std::string(4094, '\1')))), encoded(Message({OX_OBJECTID, arcs})));
  EXPECT_EQ(111u, encode(Message({OX_OBJECTID, arcs + ".1"}), nullptr));

  oxsSnmpMessage version{}, type{}, community{};
  version.version = 2;
  type.pduType = 4;
  community.communityLength = 1;
  for (const auto* message : {&version, &type, &community}) EXPECT_EQ(111u, encode(*message, nullptr));
  EXPECT_EQ(0u, encode(Message(), nullptr));
}

// To a reader of each value, the second of three is without value, and says why.
void expect_one_unreadable(const std::string& wire) {
  Message message;
  ASSERT_EQ(0u, decode(wire, message, oxsSnmpDecodeEach)) << testing::PrintToString(wire);
  const dnode* node = message.bindings;
  for (const int32_t type : std::initializer_list<int32_t>{OX_OCTETSTRING, -1, OX_INTEGER}) {
    uint32_t code = 0;
    EXPECT_STREQ("1.3", name_of(node));
    EXPECT_EQ(type, oxdGetValueType(node));
    EXPECT_EQ(type < 0 ? 0u : 31u, oxdGetErrCode(node, &code));
    EXPECT_EQ(type < 0 ? 112u : 0u, code);
    node = oxdNext(node);
  }
  EXPECT_EQ(nullptr, node);
}

TEST_F(SnmpMessage, TheDecoderRefuses) {
  const std::string pdu = "A00B 020101 020100 020100 3000", good = "020100 040163" + pdu;
  std::vector<std::string> wires = {"", "\x30", element(0x31, bytes(good)), bytes("3085 0000000010" + good)};
  const auto nested = [](int depth) {
    std::string inner = bytes("0500");
    while (depth-- > 0) inner = element(0x30, inner);
    return inner;
  };
  const std::string messages[] = {
      "040163" + pdu,                                           // no version
      "020102 040163" + pdu,                                    // version 2
      "0205 0100000001 040163" + pdu,                           // a version of five bytes
      "020100 050163" + pdu,                                    // a community that is no string
      "020100 2403020163" + pdu,                                // one of other segments
      "020100 040163",                                          // no PDU
      "020100 040163 A40B 020101 020100 020100 3000",           // a type beyond the four
      "020100 040163 A008 020101 020100 3000",                  // two numbers
      "020100 040163 A00B 410101 020100 020100 3000",           // a number of another type
      "020100 040163 A009 020101 020100 020100",                // no bindings
      "020100 040163 A00F 020101 020100 020100 3000 30020502",  // a bad element in the PDU that nobody looks at
      good + "1F0100",                                          // a tag of two bytes
      good + "3080 0000",                                       // an indefinite length
      good + "30030500FF",                                      // a malformed element that nobody looks at
      good + "30020502",                                        // a length past the enclosing element
  };
  for (const std::string& message : messages) wires.push_back(element(0x30, bytes(message)));
  wires.push_back(element(0x30, bytes(good) + nested(32)));
  // Bindings: no sequence, no value, a bad third field, a name of another type, empty, cut, beyond 32 bits.
  for (const char* wrong : {"3106 06012B 020105", "3003 06012B", "300A 06012B 020105 30020502", "3006 04012B 020105",
                            "3005 0600 020105", "3006 06022B81 0500", "300A 06062B9080808000 0500"}) {
    wires.push_back(response(bytes(wrong)));
  }
  // Values: of unknown type, empty, too large or too long, an address of three bytes, other segments.
  for (const char* wrong : {"450100", "0200", "4100", "02050080000000", "02050100000000", "0205FFFFFFFFFF",
                            "41050100000000", "4609010000000000000000", "40037F0001", "2403020105"}) {
    wires.push_back(response(binding(bytes(wrong))));
    wires.push_back(response(binding(bytes("040161")) + binding(bytes(wrong)) + binding(bytes("020105"))));
    expect_one_unreadable(wires.back());
  }
  for (const std::string& wire : wires) {
    SCOPED_TRACE(testing::PrintToString(wire));
    oxsSnmpMessage message;
    std::memset(&message, 0x5A, sizeof message);
    EXPECT_EQ(112u, decode(wire, message));
    EXPECT_EQ(nullptr, message.community);
    EXPECT_EQ(nullptr, message.bindings);
    EXPECT_EQ(0u, message.communityLength);
  }
  Message deep, segmented;
  EXPECT_EQ(1u, oxsSnmpDecode(nullptr, 4, &deep));
  EXPECT_EQ(0u, decode(element(0x30, bytes(good) + nested(31)), deep));
  EXPECT_EQ(0u, decode(element(0x30, bytes("020100 2403040163 A00B 020101 020100 020100 3000 0500")), segmented));
  EXPECT_EQ('c', *segmented.community);
  EXPECT_EQ(1u, segmented.communityLength);
}

TEST_F(SnmpMessage, LengthsAroundTheirFieldSizes) {
  for (const std::size_t size : {0u, 1u, 127u, 128u, 200u, 255u, 256u, 300u, 65535u, 65536u, 0x1000000u}) {
    SCOPED_TRACE(size);
    const Stored value{OX_OCTETSTRING, std::string(size, 'x')};
    const std::string wire = encoded(Message(value));
    EXPECT_TRUE(wire == response(binding(element(0x04, value.bytes))));
    Message back;
    ASSERT_EQ(0u, decode(wire, back));
    EXPECT_TRUE(value_of(back.bindings).bytes == value.bytes);
  }
}

// A message with a binding of every kind.
std::string rich_message() {
  std::string bindings;
  for (const char* value : {"0203123456", "410500FFFFFFFF", "460400000001", "40047F000001", "0403616200",
                            "2405040161 0400", "06062B8134030405", "0500", "8100"}) {
    bindings += binding(bytes(value));
  }
  return response(bindings);
}

TEST_F(SnmpMessage, CutAndDamagedMessagesAreRefusedOrWhole) {
  const auto taken = [](std::string_view wire) {
    Message message;
    return decode(wire, message);
  };
  EXPECT_GT(cut_and_damage(rich_message(), taken, 112), 1000);
}

// What of a packet the trace shows, and what it never does: the community, also of a packet that has been cut.
class SnmpPacket : public TreeTest {};  // the trace keeps blocks of the thread

TEST_F(SnmpPacket, IsTracedWithoutItsCommunity) {
  const std::string secret = "hidden";
  const auto packet = [&](const char* version, int tag, const std::string& pdu) {
    return element(0x30, bytes(version) + element(0x04, secret) + element(tag, pdu));
  };
  const std::string names = element(0x30, binding(bytes("43020BB8")) + binding(bytes("450100")));
  const std::string get = packet("020101", 0xA2, bytes("020107 020100 020100") + names);
  const std::string bulk = packet("020101", 0xA5, bytes("020107 020101 02010A") + names);
  const std::string trap = packet("020100", 0xA4, bytes("06012B 40047F000001 020106 020111 430105") + names);
  const std::string values = " 1.3 = 30.00 1.3 = (unreadable)>\n";
  const std::tuple<std::string, uint32_t, std::string> rows[] = {
      {get, 0x10000, "v2c response id 7 error 0/0" + values},
      {bulk, 0x10000, "v2c bulk id 7 error 1/10" + values},
      {trap, 0x20000, "v1 trap of 1.3 generic 6 specific 17 time 5" + values},
      {packet("020100", 0xA9, ""), 0x10000, "malformed>\n"},
      {get.substr(0, 10), 0x10000, "malformed>\n"},
      {get.substr(0, get.size() - 1), 0x10000, "malformed>\n"},
      {"", 0x10000, "malformed>\n"}};
  const auto dumped = [](uint32_t mask, const std::string& bytes) {
    return traced(mask, [&] {
      EXPECT_EQ(0u,
                give_block(bytes, [](void* block, uint32_t size) { return oxsSnmpDump("a:1", "b:2", block, size); }));
    });
  };
  for (const auto& [bytes, bit, line] : rows) {
    const std::string text = dumped(0x30000, bytes);
    EXPECT_EQ("<M:SNMP a:1 > b:2, " + std::to_string(bytes.size()) + " bytes: " + line,
              text.substr(0, text.find('\n') + 1));
    EXPECT_EQ((bytes.size() + 15) / 16, static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) - 1);
    EXPECT_EQ(std::string::npos, text.find("hid")) << text;
    EXPECT_EQ(std::string::npos, text.find("68 69")) << text;
    EXPECT_EQ(text, dumped(bit, bytes));
    EXPECT_EQ("", dumped(0x30040 ^ bit ^ 0x40, bytes));
  }
}

TEST_F(SnmpMessage, EveryAllocationMayFail) {
  const Stored large{OX_OCTETSTRING, std::string(5000, 'x')};  // more than a call keeps on its stack
  const std::string long_name = "1.3" + repeated(".1", 1000);
  for (const std::string& wire : {rich_message(), encoded(Message(large, long_name.c_str()))}) {
    every_allocation_may_fail([&] {
      Message message;
      return oxsSnmpDecode(wire.data(), static_cast<uint32_t>(wire.size()), &message);
    });
  }
  const Message message(large);
  every_allocation_may_fail([&] { return encode(message, nullptr); });
}

TEST(SnmpInstallation, IsAskedForOnce) {
  remove_settings();
  Message message;
  EXPECT_EQ(391u, encode(message, nullptr));
  EXPECT_EQ(391u, decode(bytes("3000"), message));
  install_settings();
  EXPECT_EQ(391u, encode(message, nullptr, oxsSnmpEncodeWithNull));
}

}  // namespace
}  // namespace ox::test
