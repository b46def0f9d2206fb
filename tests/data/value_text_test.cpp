// Text forms of values, both ways, and of nodes.
#include <cstring>
#include <thread>

#include "tests/data/data_fixture.h"
#include "tests/support/byte_text.h"
#include "tests/support/fault_heap.h"
#include "tests/support/traced.h"

namespace {

using ox::test::bytes, ox::test::repeated, ox::test::split;

class ValueText : public ox::test::TreeNodeTest {
 protected:
  std::string stored() const {
    return {static_cast<const char*>(oxdGetValueValue(node_)), static_cast<std::size_t>(oxdGetValueSize(node_))};
  }
  // Bytes as peers and raw setters may give them.
  void expect_shown(uint32_t type, std::string_view value, std::string_view display, std::string_view raw) {
    SCOPED_TRACE(type);
    ASSERT_EQ(0u, oxdSetRawValue(node_, type, static_cast<uint32_t>(value.size()), ox::test::block_of(value)));
    EXPECT_EQ(display, oxdGetValueByStr(node_));
    EXPECT_EQ(raw, oxdGetValueByRawStr(node_));
  }
};

TEST_F(ValueText, TextsAreParsedIntoTheirStoredFormAndShown) {
  const std::string arcs = ox::test::arcs(65);
  const std::string arcs_stored = "'" + arcs + "' 00";
  const struct {
    uint32_t type;
    const char* text;
    const char* stored;
    const char* display = nullptr;  // null: the text itself
    const char* raw = nullptr;      // null: as displayed
  } rows[] = {{OX_INTEGER, "-2", "fffffffe"},
              {OX_COUNTER, "4294967295", "ffffffff"},
              {OX_GAUGE, "7", "00000007"},
              {OX_TIMETICKS, "1:00.00", "00001770"},
              {OX_UNIXTIME, "2009/09/03.10:20:30", "4a9f986e"},
              {OX_IPADDRESS, "192.168.1.2", "c0a80102"},
              {OX_NETWORKADDRESS, "10.0.0.1", "0a000001"},
              {OX_OCTETSTRING, "0x61:62 63", "'abc'", "abc", "0x61:62:63"},
              {OX_OCTETSTRING, "01:Ff", "01ff", "0x01:ff"},
              {OX_DISPLAYSTRING, "a text", "'a text' 00"},
              {OX_DISPLAYSTRING, "", "00"},
              {OX_PHYSADDRESS, "0x00:0A", "000a", "0x00:0a"},
              {OX_OBJECTID, "1.3.6.1.2.1.1.1.0", "'1.3.6.1.2.1.1.1.0' 00", "system.sysDescr.0"},
              {OX_OBJECTID, "~64312.2", "'1.3.6.1.4.1.64312.2' 00", "~maker.2"},
              {OX_OBJECTID, "1.3.6.1.2.1", "'1.3.6.1.2.1' 00", "iso.org.dod.internet.mgmt.mib-2"},
              {OX_OBJECTID, "obj.cmn", "'11.1' 00"},
              {OX_OBJECTID, "99.1", "'99.1' 00"},
              {OX_OBJECTID, arcs.c_str(), arcs_stored.c_str(), "(bad AMIB name)"},
              {OX_OPAQUE, "41", "'A'", "A"},
              {OX_NULL, "", "00", "(null)"},
              {OX_DELETED, "x", "00", "(deleted)"},
              {OX_COUNTER64, "18446744073709551615", "ffffffffffffffff"},
              {OX_IPXADDRESS, "00000001.0000000000ff", "000000010000000000ff"},
              {OX_IPV6ADDRESS, "2001:db8::1", "20010db8000000000000000000000001"},
              {OX_IPV6PREFIX, "2001:db8::/32", "20010db800000000000000000000000020"},
              {OX_IPV6PREFIX, "ff00::/128", "ff00000000000000000000000000000080"},
              {OX_IPV6IFID, "2aa:FF:fe9a:5", "02aa00fffe9a0005", "2aa:0ff:fe9a:005"},
              {OX_CODESTRING, "ab", "9d9e", "********"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    ASSERT_EQ(0u, oxdSetValueByStr(node_, row.type, row.text));
    EXPECT_EQ(static_cast<int32_t>(row.type), oxdGetValueType(node_));
    EXPECT_EQ(bytes(row.stored), stored());
    oxdType info{};
    EXPECT_EQ(0u, oxdTypeInfo(row.type, &info));
    EXPECT_TRUE(info.form != OXD_NO_VALUE && (info.size == 0 || info.size == stored().size()));
    const char* display = row.display != nullptr ? row.display : row.text;
    EXPECT_STREQ(display, oxdGetValueByStr(node_));
    EXPECT_STREQ(row.raw != nullptr ? row.raw : display, oxdGetValueByRawStr(node_));
  }
}

TEST_F(ValueText, WrongTextsAreRefusedAndTheValueKept) {
  const std::tuple<OX_RESULT, uint32_t, const char*> rows[] = {
      {88, OX_INTEGER, "2147483648"},
      {70, OX_COUNTER, "-1"},
      {70, OX_UNIXTIME, "2009/09/03x"},
      {70, OX_OCTETSTRING, "|0x|0X01|01:|01:2|01-02"},
      {70, OX_PHYSADDRESS, "0g"},
      {70, OX_OPAQUE, "+1"},
      {125, OX_OBJECTID, "|nosuch|sysDescr"},
      {412, OX_IPV6PREFIX, "|::|::/|/64|::/129|::/-1|::/064|::/64/1|g::/64|2001:db8/32"},
      {70, OX_IPV6IFID, "|1:2:3|1:2:3:4:5|1:2::4|1:2:3:|1:2:3:10000|1:2:1.2.3.4"},
      {27, 0, "1"}};
  oxdSetText(node_, "kept");
  for (const auto& [result, type, texts] : rows) {
    for (const std::string& text : split(texts)) {
      EXPECT_EQ(result, oxdSetValueByStr(node_, type, text.c_str())) << type << " " << text;
    }
  }
  EXPECT_EQ(bytes("'kept' 00"), stored());
}

TEST_F(ValueText, WhatIsShownCanBeSet) {
  EXPECT_EQ(0u, oxdSetAmibName(node_, "obj.cmn.cmnState.0"));
  const struct {
    uint32_t type;
    const char* texts;  // each of them gives the first one's value
    const char* stored;
  } rows[] = {{0, "down(2)|down|2", "00000002"},
              {0, "-7", "fffffff9"},
              {OX_OCTETSTRING, "ab:c|0x61:62:3A:63", "'ab:c'"},
              {OX_OCTETSTRING, "01:ff", "'01:ff'"},
              {OX_OCTETSTRING, "0x01:ff", "01ff"},
              {OX_OCTETSTRING, "|0x", ""},
              {OX_OPAQUE, "abc", "'abc'"},
              {OX_PHYSADDRESS, "0x00:0a|00:0A", "000a"},
              {OX_PHYSADDRESS, "0x", ""},
              {OX_OBJECTID, "system.sysDescr.0|.1.1.0|.system.sysDescr.0", nullptr},
              {OX_OBJECTID, "~maker.2", "'1.3.6.1.4.1.64312.2' 00"},
              {OX_TIMETICKS, "1:00.00", "00001770"},
              {OX_CODESTRING, "ab", "9d9e"}};
  for (const auto& row : rows) {
    const std::vector<std::string> texts = split(row.texts);
    for (const std::string& text : texts) {
      SCOPED_TRACE(text);
      ASSERT_EQ(0u, oxdSetValueByShown(node_, row.type, text.c_str()));
      EXPECT_TRUE(row.stored == nullptr || bytes(row.stored) == stored());
      EXPECT_TRUE(row.type == OX_CODESTRING || texts[0] == oxdGetValueByStr(node_)) << oxdGetValueByStr(node_);
    }
  }
  for (const auto& [type, text, code] : {std::tuple{0u, "dow", 70u},
                                         {0u, "down(3)", 70u},
                                         {OX_OCTETSTRING + 0u, "0x1", 70u},
                                         {OX_OPAQUE + 0u, "0xzz", 70u},
                                         {OX_OBJECTID + 0u, "nosuch", 125u},
                                         {OX_CODESTRING + 0u, "********", 70u},
                                         {15u, "1", 61u}}) {
    EXPECT_EQ(code, oxdSetValueByShown(node_, type, text)) << text;
  }
  EXPECT_EQ(bytes("9d9e"), stored());
}

TEST_F(ValueText, TheAttributeGivesTypeAndNames) {
  EXPECT_EQ(0u, oxdSetAmibName(node_, "obj.cmn.cmnState.0"));
  EXPECT_EQ(0u, oxdSetValueByStr(node_, 0, "2"));
  EXPECT_EQ(OX_INTEGER, oxdGetValueType(node_));
  EXPECT_STREQ("down(2)", oxdGetValueByStr(node_));
  EXPECT_STREQ("2", oxdGetValueByRawStr(node_));
  EXPECT_EQ(bytes("0044 0009'11.1.2.0'00 0001 00000004 00000002"), ox::test::encoded(node_));
  // The kept tree node goes with the name.
  EXPECT_EQ(0u, oxdSetAmibName(node_, ".1.3.0"));
  EXPECT_EQ(0u, oxdSetValueByStr(node_, 0, "0.02"));
  EXPECT_EQ(OX_TIMETICKS, oxdGetValueType(node_));
  for (const auto& [name, code] : {std::pair{"obj.cmn", 61u}, {"99", 125u}}) {
    EXPECT_EQ(0u, oxdSetAmibName(node_, name));
    EXPECT_EQ(code, oxdSetValueByStr(node_, 0, "2"));
  }
}

TEST_F(ValueText, BytesOfAnySizeAndTypeAreShown) {
  const std::string shown(255, 'a');
  const std::string hex = "0x" + repeated("61:", 300);
  expect_shown(OX_OPAQUE, shown + "a", shown + "....", shown + "....");
  expect_shown(OX_OPAQUE, "", "", "");
  expect_shown(OX_OCTETSTRING, "", "", "0x");
  // Numbers that agents wrap; what is cut, of another length or tag is bytes.
  expect_shown(OX_OPAQUE, bytes("9f7804 3fc00000"), "1.5", "1.5");
  expect_shown(OX_OPAQUE, bytes("9f7904 3fc00000"), "0x9f:79:04:3f:c0:00:00", "0x9f:79:04:3f:c0:00:00");
  expect_shown(OX_OPAQUE, bytes("9f7908 bfb999999999999a"), "-0.1", "-0.1");
  expect_shown(OX_OPAQUE, bytes("9f7908 ffefffffffffffff"), "-1.7976931348623157e+308", "-1.7976931348623157e+308");
  expect_shown(OX_OPAQUE, bytes("9f7804 7fc000"), "0x9f:78:04:7f:c0:00", "0x9f:78:04:7f:c0:00");
  expect_shown(OX_PHYSADDRESS, "", "0x", "0x");
  // One unreadable byte, past what is shown, still decides.
  expect_shown(OX_OCTETSTRING, std::string(300, 'a') + '\n', hex.substr(0, 1 + 255 * 3) + "....", hex + "0a");
  const std::string all = hex.substr(0, 2 + 254 * 3) + "0a";
  expect_shown(OX_OCTETSTRING, std::string(254, 'a') + '\n', all, all);
  for (uint32_t type : {1, 2, 3, 4, 5, 6, 7, 18, 20, 21, 22, 23}) expect_shown(type, "\x01\xff", "0x01:ff", "0x01:ff");
  expect_shown(OX_DISPLAYSTRING, "11", "11", "11");  // without terminators
  expect_shown(OX_OBJECTID, "11", "obj", "obj");
  const std::string no_length = "0x01:02:03:04:05:06:07:08:09:0a:0b:0c:0d:0e:0f:10:81";
  expect_shown(OX_IPV6PREFIX, bytes("0102030405060708090a0b0c0d0e0f1081"), no_length, no_length);
  for (uint32_t type : {15u, 19u, 25u, 0xffffu}) {
    expect_shown(type, "", "(bad_type)", "(bad_type)");
    EXPECT_STREQ("(bad_type)", oxdGetValueByCodeStr(node_));
  }
  oxdClrValue(node_);
  for (const char* text : {oxdGetValueByStr(node_), oxdGetValueByRawStr(nullptr), oxdGetValueByCodeStr(node_)}) {
    EXPECT_STREQ("(no_value)", text);
  }
}

TEST_F(ValueText, ACodeStringIsReadBySizeAlone) {
  for (const char* text : {"secret", ""}) {
    EXPECT_EQ(0u, oxdSetValueByStr(node_, OX_CODESTRING, text));
    dnode* copy = oxdCopy(node_);  // without terminator
    EXPECT_STREQ(text, oxdGetValueByCodeStr(copy));
    oxdFree(copy);
  }
}

TEST_F(ValueText, TextsThatCannotGrowSayNoMemory) {
  oxdSetBytes(node_, OX_PHYSADDRESS, std::string(100000, 'x').c_str(), 100000);
  (void)oxdGetValueByStr(node_);  // a thread's first use makes its buffers
  std::thread([&] {
    for (int n = 1; n <= 2; ++n) {
      ox::test::fail_allocation(n);
      const char* text = oxdGetValueByRawStr(node_);
      EXPECT_TRUE(ox::test::stop_failing());
      EXPECT_STREQ("(no_memory)", text);
    }
    EXPECT_EQ(2u + 100000 * 3 - 1, std::strlen(oxdGetValueByRawStr(node_)));
  }).join();
}

class DnodeFormat : public ox::test::TreeNodeTest {
 protected:
  DnodeFormat() {
    ox::test::fill(node_);
    oxdSetBytes(node_, OX_OCTETSTRING, "abc", 3);
    oxdClrErrCode(node_);
  }
};

TEST_F(DnodeFormat, EachConversion) {
  // Format, a full node, an empty one if it differs.
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"100%%", "100%", nullptr},
      {"%T:%C", "map:top", "(no_comptype):(no_compname)"},
      {"%AB %AN %AS", "cmnName.0 11.1.1.0 obj.cmn.cmnName.0", "(no_amibname) (no_amibname) (no_amibname)"},
      {"%QD|%QN", "Thu Sep  3 10:20:30 2009|1251973230", "(no_reqtime)|(no_reqtime)"},
      {"%SD|%SN", "Tue Jan 19 03:14:08 2038|2147483648", "(no_rsptime)|(no_rsptime)"},
      {"%QS|%SS", "2009/09/03.10:20:30|2038/01/19.03:14:08", "(no_reqtime)|(no_rsptime)"},
      {"%V|%W", "abc|0x61:62:63", "(no_value)|(no_value)"},
      {nullptr, "top\t2009/09/03.10:20:30\tcmnName.0             \tabc\n",
       "(no_compname)\t(no_reqtime)\t(no_amibname)         \t(no_value)\n"},
      // Widths: never cutting, right-justified without the sign.
      {"[%5C%-5C%2C]", "[  toptop  top]", "[(no_compname)(no_compname)(no_compname)]"},
      {"[%-3%]", "[%  ]", nullptr},
      {"%4097C", "(too_long)", nullptr},
      {"%99999999999999999999C", "(too_long)", nullptr},
      // What is wrong is passed over with its field.
      {"%xC", "(format_error)C", nullptr},
      {"%-9AxC", "(format_error)C", nullptr},
      {"%9999x", "(format_error)", nullptr},
      {"a%-22", "a(format_error)", nullptr},
      {"a%A", "a(format_error)", nullptr},
      {"%--C", "(format_error)C", nullptr}};
  dnode* nothing = oxdAlloc(1);
  for (const auto& [format, full, empty] : rows) {
    SCOPED_TRACE(format != nullptr ? format : "(default)");
    EXPECT_STREQ(full, oxdDnodeToStr(format, node_));
    EXPECT_STREQ(empty != nullptr ? empty : full, oxdDnodeToStr(format, nothing));
    EXPECT_STREQ(empty != nullptr ? empty : full, oxdDnodeToStr(format, nullptr));
  }
  oxdFree(nothing);

  oxdSetErrCode(node_, 84);  // stands for the value
  const std::string text = oxcStrError(84);
  EXPECT_EQ(text + "|" + text, oxdDnodeToStr("%V|%W", node_));
  const std::string path = ox::test::arcs(65);
  oxdSetAmibName(node_, path.c_str());
  EXPECT_EQ(path + "|(bad AMIB name)|(bad AMIB name)", oxdDnodeToStr("%AN|%AB|%AS", node_));
}

TEST_F(DnodeFormat, LinesGrowAndSayWhenTheyCannot) {
  std::string format = repeated("%4096C|", 40);
  const std::string line = repeated(std::string(4093, ' ') + "top|", 40);
  EXPECT_EQ(line, oxdDnodeToStr(format.c_str(), node_));
  format += format;
  ox::test::fail_allocation(1);
  const char* text = oxdDnodeToStr(format.c_str(), node_);
  EXPECT_TRUE(ox::test::stop_failing());
  EXPECT_STREQ("(no_memory)", text);
  EXPECT_EQ(line + line, oxdDnodeToStr(format.c_str(), node_));
}

TEST_F(DnodeFormat, APrintedListIsOneLinePerNode) {
  dnode* list = oxdAlloc(2);
  oxdSetCompName(list, "a%s");  // never a format
  oxdSetCompName(oxdNext(list), "b");
  testing::internal::CaptureStdout();
  EXPECT_EQ(0u, oxdPrint("%C\n", list));
  EXPECT_EQ("a%s\nb\n", testing::internal::GetCapturedStdout());
  // The trace carries the same lines, and nothing while its bit is clear.
  for (const auto& [mask, lines] : {std::pair{0x400u, "a%s\nb\n"}, {0u, ""}}) {
    EXPECT_EQ(lines, ox::test::traced(mask, [&] { EXPECT_EQ(0u, oxdPrintLog("%C\n", list)); }));
  }
  oxdFree(list);
}

}  // namespace
