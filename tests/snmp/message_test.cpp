// The codec of SNMP messages, byte for byte.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include <oxbase/oxc.h>
#include <oxbase/oxs.h>

#include "tests/snmp/packet.h"
#include "tests/snmp/test_message.h"
#include "tests/support/fault_heap.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

using namespace std::string_literals;

class SnmpMessage : public testing::Test {
 protected:
  void SetUp() override { before_ = oxcGetMemValue(1); }
  void TearDown() override { EXPECT_EQ(before_, oxcGetMemValue(1)); }

 private:
  uint32_t before_ = 0;
};

TEST_F(SnmpMessage, RequestsAreThoseBytes) {
  Message get;
  get.set_community("public");
  get.requestId = 1;
  add(get.bindings, "1.3.6.1.2.1.1.1.0", {OX_NULL, "\0"s});
  const std::string wire =
      hex("30 26 02 01 00 04 06 70 75 62 6C 69 63 A0 19 02 01 01 02 01 00 02 01 00 "
          "30 0E 30 0C 06 08 2B 06 01 02 01 01 01 00 05 00");
  EXPECT_EQ(wire, encoded(get));

  Message back;
  ASSERT_EQ(0u, decode(wire + "trailing", back));
  EXPECT_EQ(0u, back.version);
  EXPECT_EQ("public", std::string(reinterpret_cast<char*>(back.community), back.communityLength));
  EXPECT_EQ(uint32_t{OXS_GET}, back.pduType);
  EXPECT_STREQ("1.3.6.1.2.1.1.1.0", name_of(back.bindings));
  EXPECT_EQ(uint32_t{OX_NULL}, value_of(back.bindings).type);
  EXPECT_EQ(nullptr, oxdNext(back.bindings));

  Message empty;
  empty.version = OXS_V2C;
  empty.pduType = OXS_SET;
  empty.requestId = 0x80000000;
  empty.errorStatus = 128;
  empty.errorIndex = 0xFFFFFFFF;
  const std::string no_bindings = hex("30 16 020101 0400 A3 0F 0204 80000000 0202 0080 0201 FF 3000");
  EXPECT_EQ(no_bindings, encoded(empty));
  Message again;
  ASSERT_EQ(0u, decode(no_bindings, again));
  EXPECT_EQ(nullptr, again.bindings);
  EXPECT_EQ(0x80000000, again.requestId);
  EXPECT_EQ(128u, again.errorStatus);
  EXPECT_EQ(0xFFFFFFFF, again.errorIndex);
}

TEST_F(SnmpMessage, OnlyTheFirstValueIsMadeNull) {
  Message message({OX_INTEGER, hex("00000005")});
  add(message.bindings, "1.4", {OX_INTEGER, hex("00000006")});
  std::string wire;
  ASSERT_EQ(0u, encode(message, wire, oxsSnmpEncodeWithNull));
  EXPECT_EQ(response(binding(hex("0500")) + hex("3006 06012C 020106")), wire);

  // Neither an empty list nor a refused one leaves anything behind for the next call.
  Message other({OX_INTEGER, hex("00000007")});
  other.version = 2;
  EXPECT_EQ(111u, encode(other, wire, oxsSnmpEncodeWithNull));
  other.version = 1;
  EXPECT_EQ(response(binding(hex("020107"))), encoded(other));
  Message valueless;
  valueless.set_community("c");
  valueless.bindings = oxdAlloc(1);
  EXPECT_EQ(0u, encode(valueless, wire, oxsSnmpEncodeWithNull));
  EXPECT_EQ(111u, encode(valueless, wire));
}

TEST_F(SnmpMessage, ValuesBothWays) {
  const struct {
    const char* what;
    Stored value;
    std::string wire;
  } cases[] = {
      {"0", {OX_INTEGER, hex("00000000")}, hex("020100")},
      {"127", {OX_INTEGER, hex("0000007F")}, hex("02017F")},
      {"128", {OX_INTEGER, hex("00000080")}, hex("02020080")},
      {"-1", {OX_INTEGER, hex("FFFFFFFF")}, hex("0201FF")},
      {"-128", {OX_INTEGER, hex("FFFFFF80")}, hex("020180")},
      {"-129", {OX_INTEGER, hex("FFFFFF7F")}, hex("0202FF7F")},
      {"65535", {OX_INTEGER, hex("0000FFFF")}, hex("020300FFFF")},
      {"2^31 - 1", {OX_INTEGER, hex("7FFFFFFF")}, hex("02047FFFFFFF")},
      {"-2^31", {OX_INTEGER, hex("80000000")}, hex("020480000000")},
      {"counter 0", {OX_COUNTER, hex("00000000")}, hex("410100")},
      {"counter 128", {OX_COUNTER, hex("00000080")}, hex("41020080")},
      {"counter of all bits", {OX_COUNTER, hex("FFFFFFFF")}, hex("410500FFFFFFFF")},
      {"gauge", {OX_GAUGE, hex("7FFFFFFF")}, hex("42047FFFFFFF")},
      {"ticks", {OX_TIMETICKS, hex("00010000")}, hex("4303010000")},
      {"counter of 64 bits, 0", {OX_COUNTER64, hex("0000000000000000")}, hex("460100")},
      {"counter of 64 bits, 2^63", {OX_COUNTER64, hex("8000000000000000")}, hex("4609008000000000000000")},
      {"counter of all 64 bits", {OX_COUNTER64, hex("FFFFFFFFFFFFFFFF")}, hex("460900FFFFFFFFFFFFFFFF")},
      {"address", {OX_IPADDRESS, hex("7F000001")}, hex("40047F000001")},
      {"octets with zeros", {OX_OCTETSTRING, "a\0b\0"s}, hex("040461006200")},
      {"no octets", {OX_OCTETSTRING, ""}, hex("0400")},
      {"null", {OX_NULL, "\0"s}, hex("0500")},
      {"identifier", {OX_OBJECTID, "1.3.6.1.4.1.64312.2\0"s}, hex("0609 2B06010401 83F638 02")},
      {"empty identifier", {OX_OBJECTID, "\0"s}, hex("0600")},
      {"0.0", {OX_OBJECTID, "0.0\0"s}, hex("060100")},
      {"2.100 in two bytes", {OX_OBJECTID, "2.100\0"s}, hex("06028134")},
      {"arcs at the edges of their groups",
       {OX_OBJECTID, "1.39.127.128.16383.16384.2097151.2097152.268435455.268435456.4294967295\0"s},
       hex("061E 4F 7F 8100 FF7F 818000 FFFF7F 81808000 FFFFFF7F 8180808000 8FFFFFFF7F")},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string wire = response(binding(c.wire));
    EXPECT_EQ(wire, encoded(Message(c.value)));
    Message back;
    ASSERT_EQ(0u, decode(wire, back));
    const Stored value = value_of(back.bindings);
    EXPECT_EQ(c.value.type, value.type);
    EXPECT_TRUE(c.value.type == OX_NULL || c.value.bytes == value.bytes);
  }
}

TEST_F(SnmpMessage, FormsThatAreEncodedOnly) {
  const struct {
    const char* what;
    const char* name;
    Stored value;
    std::string wire;  // of the binding
  } cases[] = {
      {"a text loses its terminator", "1.3", {OX_DISPLAYSTRING, "abc\0"s}, binding(hex("0403616263"))},
      {"a text without one keeps all", "1.3", {OX_DISPLAYSTRING, "abc"}, binding(hex("0403616263"))},
      {"a network address", "1.3", {OX_NETWORKADDRESS, hex("0A000001")}, binding(hex("40040A000001"))},
      {"a hardware address", "1.3", {OX_PHYSADDRESS, hex("0080FF")}, binding(hex("04030080FF"))},
      {"an address of version 6", "1.3", {OX_IPV6ADDRESS, hex("FE80")}, binding(hex("0402FE80"))},
      {"a wide integer is shortened", "1.3", {OX_INTEGER, hex("FFFFFFFFFFFFFFFFFE")}, binding(hex("0201FE"))},
      {"a short counter", "1.3", {OX_COUNTER, hex("80")}, binding(hex("41020080"))},
      {"a single arc", "2", {OX_NULL, "\0"s}, hex("3005 060150 0500")},
      {"no name", nullptr, {OX_NULL, "\0"s}, hex("3004 0600 0500")},
      {"zeros in front of an arc", "1.003.06", {OX_NULL, "\0"s}, hex("3006 06022B06 0500")},
      {"an arc wraps", "1.3.4294967297", {OX_NULL, "\0"s}, hex("3006 06022B01 0500")},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Message message(c.value);
    oxdFree(message.bindings);
    message.bindings = nullptr;
    add(message.bindings, c.name, c.value);
    EXPECT_EQ(response(c.wire), encoded(message));
  }
}

TEST_F(SnmpMessage, FormsThatAreDecodedOnly) {
  const struct {
    const char* what;
    std::string binding;
    Stored value;
    const char* name = "1.3";
  } cases[] = {
      {"zeros in front do not change the sign", binding(hex("02020080")), {OX_INTEGER, hex("00000080")}},
      {"many zeros", binding(hex("0206000000000001")), {OX_INTEGER, hex("00000001")}},
      {"a short negative number", binding(hex("0203FFFF80")), {OX_INTEGER, hex("FFFFFF80")}},
      {"a counter without guard", binding(hex("4104FFFFFFFF")), {OX_COUNTER, hex("FFFFFFFF")}},
      {"a short counter without guard", binding(hex("4301FF")), {OX_TIMETICKS, hex("000000FF")}},
      {"a counter with many zeros", binding(hex("460A00000000000000000001")), {OX_COUNTER64, hex("0000000000000001")}},
      {"joined segments", binding(hex("240B 040161 2402 0400 04026263")), {OX_OCTETSTRING, "abc"}},
      {"no segments", binding(hex("2400")), {OX_OCTETSTRING, ""}},
      {"lengths in long form", hex("30840000000A 0681012B 02830000 0105"), {OX_INTEGER, hex("00000005")}},
      {"2.100", hex("3006 06028134 0500"), {OX_NULL, "\0"s}, "2.100"},
      {"the largest first number", hex("3009 06058FFFFFFF7F 0500"), {OX_NULL, "\0"s}, "2.4294967215"},
      {"null with content", binding(hex("0501FF")), {OX_NULL, "\0"s}},
      {"a third field", hex("3009 06012B 020105 020106"), {OX_INTEGER, hex("00000005")}},
      {"no such object", binding(hex("8000")), {0, ""}},
      {"no such instance", binding(hex("8100")), {0, ""}},
      {"end of the view", binding(hex("8200")), {0, ""}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    Message message;
    ASSERT_EQ(0u, decode(response(c.binding), message));
    EXPECT_STREQ(c.name, name_of(message.bindings));
    const Stored value = value_of(message.bindings);
    EXPECT_EQ(c.value.type, value.type);
    EXPECT_TRUE(c.value.type == OX_NULL || c.value.bytes == value.bytes);
    uint32_t code = 0;
    EXPECT_EQ(c.value.type == 0 ? 0u : 31u, oxdGetErrCode(message.bindings, &code));
    EXPECT_EQ(c.value.type == 0 ? 157u : 0u, code);
  }
  Message message;
  EXPECT_EQ(0u, decode(element(0x30, hex("020100 2403040163 A00B 020101 020100 020100 3000 0500")), message));
  EXPECT_EQ("c", std::string(reinterpret_cast<char*>(message.community), message.communityLength));
}

TEST_F(SnmpMessage, TheEncoderRefuses) {
  const Stored values[] = {
      {OX_OBJECTID, "1.3.\0"s},
      {OX_OBJECTID, ".1.3\0"s},
      {OX_OBJECTID, "1..3\0"s},
      {OX_OBJECTID, ".\0"s},
      {OX_OBJECTID, "1.3.a\0"s},
      {OX_OBJECTID, "1.3\0.4\0"s},
      {OX_OBJECTID, "-1.3\0"s},
      {OX_INTEGER, ""},
      {OX_COUNTER64, ""},
      {OX_IPADDRESS, hex("7F0001")},
      {OX_UNIXTIME, "1234"},
      {OX_OPAQUE, "1234"},
      {OX_DELETED, "\0"s},
      {OX_IPXADDRESS, "1234567890"},
      {OX_CODESTRING, "x"},
      {0, "x"},
      {17, "x"},
      {25, "x"},
      {0xFFFFFFFF, "x"},
  };
  for (const Stored& value : values) {
    Message message(value);
    add(message.bindings, "1.3", {OX_NULL, "\0"s});
    std::string wire;
    EXPECT_EQ(111u, encode(message, wire)) << value.type << value.bytes;
  }
  std::string arcs = "1";
  for (int count = 2; count <= 4096; ++count) arcs += ".1";
  EXPECT_EQ(4095u + 4, encoded(Message({OX_OBJECTID, arcs})).size() - response(binding("")).size() - 4 * 2);
  std::string wire;
  EXPECT_EQ(111u, encode(Message({OX_OBJECTID, arcs + ".1"}), wire));

  Message message({OX_NULL, "\0"s});
  message.version = 2;
  EXPECT_EQ(111u, encode(message, wire));
  message.version = 0;
  message.pduType = 4;
  EXPECT_EQ(111u, encode(message, wire));
  void* buffer = &message;
  uint32_t length = 7;
  EXPECT_EQ(111u, oxsSnmpEncode(nullptr, &buffer, &length));
  EXPECT_EQ(nullptr, buffer);
  EXPECT_EQ(1u, oxsSnmpEncode(&message, nullptr, &length));
}

// The innermost element of `depth` nested ones.
std::string nested(int depth) {
  std::string inner = hex("0500");
  for (; depth > 0; --depth) inner = element(0x30, inner);
  return inner;
}

TEST_F(SnmpMessage, TheDecoderRefuses) {
  const std::string pdu = hex("A00B 020101 020100 020100 3000");
  const std::string good = hex("020100 040163") + pdu;
  const struct {
    const char* what;
    std::string wire;
  } cases[] = {
      {"nothing", ""},
      {"one byte", "\x30"},
      {"no sequence", element(0x31, good)},
      {"version 2", element(0x30, hex("020102 040163") + pdu)},
      {"a version of five bytes", element(0x30, hex("02050000000000 040163") + pdu).substr(0, 3)},
      {"no version", element(0x30, hex("040163") + pdu)},
      {"a community that is no string", element(0x30, hex("020100 050163") + pdu)},
      {"a community of other segments", element(0x30, hex("020100 2403020163") + pdu)},
      {"PDU types beyond the four", element(0x30, hex("020100 040163 A40B 020101 020100 020100 3000"))},
      {"no PDU", element(0x30, hex("020100 040163"))},
      {"two numbers", element(0x30, hex("020100 040163 A008 020101 020100 3000"))},
      {"a number of another type", element(0x30, hex("020100 040163 A00B 410101 020100 020100 3000"))},
      {"no bindings", element(0x30, hex("020100 040163 A009 020101 020100 020100"))},
      {"indefinite length", hex("3080") + good + hex("0000")},
      {"five length bytes", hex("30850000000000") + good},
      {"a tag of two bytes", element(0x30, good + hex("1F0100"))},
      {"a malformed element in a part that nobody looks at", element(0x30, good + hex("30030500FF"))},
      {"a length past the enclosing element", element(0x30, good + hex("30020502"))},
      {"a binding that is no sequence", response(hex("310606012B020105"))},
      {"a binding without value", response(hex("300306012B"))},
      {"a name of another type", response(hex("3006 04012B 020105"))},
      {"an empty name", response(hex("3005 0600 020105"))},
      {"a name that ends in its middle", response(hex("3006 06022B81 0500"))},
      {"an arc beyond 32 bits", response(hex("300A 06062B9080808000 0500"))},
      {"an unknown value type", response(binding(hex("440100")))},
      {"an empty number", response(binding(hex("0200")))},
      {"2^31", response(binding(hex("02050080000000")))},
      {"five bytes", response(binding(hex("02050100000000")))},
      {"a long negative number", response(binding(hex("0205FFFFFFFFFF")))},
      {"an empty counter", response(binding(hex("4100")))},
      {"a counter beyond its width", response(binding(hex("41050100000000")))},
      {"a wide counter beyond its width", response(binding(hex("4609010000000000000000")))},
      {"an address of three bytes", response(binding(hex("40037F0001")))},
      {"a string of other segments", response(binding(hex("2403020105")))},
      {"a second binding after a good one", response(binding(hex("040161")) + binding(hex("0200")))},
      {"too many levels", element(0x30, good + nested(32))},
  };
  for (const auto& c : cases) {
    oxsSnmpMessage message;
    std::memset(&message, 0x5A, sizeof message);
    EXPECT_EQ(112u, decode(c.wire, message)) << c.what;
    EXPECT_EQ(nullptr, message.community);
    EXPECT_EQ(nullptr, message.bindings);
    EXPECT_EQ(0u, message.communityLength);
  }
  Message message;
  EXPECT_EQ(0u, decode(element(0x30, good + nested(31)), message));
  oxsSnmpFree(&message);
  EXPECT_EQ(1u, oxsSnmpDecode(nullptr, 4, &message));
  EXPECT_EQ(1u, oxsSnmpDecode("\x30", 1, nullptr));
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
    bindings += binding(hex(value));
  }
  return response(bindings);
}

TEST_F(SnmpMessage, CutAndDamagedMessagesAreRefusedOrWhole) {
  const std::string good = rich_message();
  for (std::size_t cut = 0; cut < good.size(); ++cut) {
    Message message;
    EXPECT_EQ(112u, decode(std::string_view(good).substr(0, cut), message)) << cut;
  }
  int survivors = 0;
  for (std::size_t at = 0; at < good.size(); ++at) {
    for (int change = 1; change < 256; ++change) {
      std::string damaged = good;
      damaged[at] = static_cast<char>(damaged[at] ^ change);
      Message message;
      const OX_RESULT result = decode(damaged, message);
      ASSERT_TRUE(result == 0 || result == 112) << at << " " << change << " " << result;
      if (result != 0) continue;
      // What is accepted is a record that can be read: all values but the exceptions go out again and come back alike.
      for (dnode* node = message.bindings; node != nullptr; node = oxdNext(node)) {
        if (oxdGetValueType(node) == -1) oxdSetValue(node, OX_NULL, 0, 0);
      }
      const std::string wire = encoded(message);
      Message again;
      ASSERT_EQ(0u, decode(wire, again)) << at << " " << change;
      ASSERT_EQ(wire, encoded(again));
      ++survivors;
    }
  }
  EXPECT_GT(survivors, 1000);
}

TEST_F(SnmpMessage, EveryAllocationMayFail) {}

TEST(SnmpInstallation, IsAskedForOnce) {
  write_file(system_root() + "/registry.reg", "Windows Registry Editor Version 5.00\n");
  oxsSnmpMessage message{};
  void* buffer = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(391u, oxsSnmpEncode(&message, &buffer, &length));
  EXPECT_EQ(391u, oxsSnmpDecode("\x30\x00", 2, &message));
  install_settings();
  EXPECT_EQ(391u, oxsSnmpEncodeWithNull(&message, &buffer, &length));
}

}  // namespace
}  // namespace ox::test
