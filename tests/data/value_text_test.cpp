// Text forms of values, both ways.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>

#include <oxbase/oxc.h>
#include <oxbase/oxd.h>

#include "tests/data/small_tree.h"
#include "tests/support/fault_heap.h"

using namespace std::literals;

namespace {

// 65 components.
constexpr char too_deep[] =
    "1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1.1."
    "1."
    "1.1.1.1.1.1.1";
static_assert(sizeof too_deep == 65 * 2);

class ValueText : public testing::Test {
 protected:
  void SetUp() override {
    setenv("TZ", "UTC0", 1);
    ox::test::build_small_tree();
    node_ = oxdAlloc(1);
  }
  void TearDown() override { oxdFree(node_); }

  std::string_view value() const {
    return {static_cast<const char*>(oxdGetValueValue(node_)), static_cast<std::size_t>(oxdGetValueSize(node_))};
  }

  dnode* node_ = nullptr;
};

TEST_F(ValueText, TextsAreParsedIntoTheirStoredFormAndShown) {
  const struct {
    uint32_t type;
    const char* text;
    std::string_view stored;
    const char* display;
    const char* raw;
  } rows[] = {
      {OX_INTEGER, "-2", "\xff\xff\xff\xfe"sv, "-2", "-2"},
      {OX_COUNTER, "4294967295", "\xff\xff\xff\xff"sv, "4294967295", "4294967295"},
      {OX_GAUGE, "7", "\0\0\0\x07"sv, "7", "7"},
      {OX_TIMETICKS, "1:00.00", "\0\0\x17\x70"sv, "1:00.00", "1:00.00"},
      {OX_UNIXTIME, "2009/09/03.10:20:30", "\x4a\x9f\x98\x6e"sv, "2009/09/03.10:20:30", "2009/09/03.10:20:30"},
      {OX_IPADDRESS, "192.168.1.2", "\xc0\xa8\x01\x02"sv, "192.168.1.2", "192.168.1.2"},
      {OX_NETWORKADDRESS, "10.0.0.1", "\x0a\0\0\x01"sv, "10.0.0.1", "10.0.0.1"},
      {OX_OCTETSTRING, "0x61:62 63", "abc"sv, "abc", "0x61:62:63"},
      {OX_OCTETSTRING, "01:Ff", "\x01\xff"sv, "0x01:ff", "0x01:ff"},
      {OX_DISPLAYSTRING, "a text", "a text\0"sv, "a text", "a text"},
      {OX_DISPLAYSTRING, "", "\0"sv, "", ""},
      {OX_PHYSADDRESS, "0x00:0A", "\0\x0a"sv, "0x00:0a", "0x00:0a"},
      {OX_OBJECTID, "sysDescr", "1.3.6.1.2.1.1.1\0"sv, nullptr, nullptr},
      {OX_OBJECTID, "1.3.6.1.2.1.1.1.0", "1.3.6.1.2.1.1.1.0\0"sv, "system.sysDescr.0", "system.sysDescr.0"},
      {OX_OBJECTID, "~64312.2", "1.3.6.1.4.1.64312.2\0"sv, "~maker.2", "~maker.2"},
      {OX_OBJECTID, "1.3.6.1.2.1", "1.3.6.1.2.1\0"sv, "iso.org.dod.internet.mgmt.mib-2",
       "iso.org.dod.internet.mgmt.mib-2"},
      {OX_OBJECTID, "obj.cmn", "11.1\0"sv, "obj.cmn", "obj.cmn"},
      {OX_OBJECTID, "99.1", "99.1\0"sv, "99.1", "99.1"},
      {OX_OBJECTID, too_deep, {too_deep, sizeof too_deep}, "(bad AMIB name)", "(bad AMIB name)"},
      {OX_OPAQUE, "41", "A"sv, "A", "A"},
      {OX_NULL, "", "\0"sv, "(null)", "(null)"},
      {OX_DELETED, "x", "\0"sv, "(deleted)", "(deleted)"},
      {OX_COUNTER64, "18446744073709551615", "\xff\xff\xff\xff\xff\xff\xff\xff"sv, "18446744073709551615",
       "18446744073709551615"},
      {OX_IPXADDRESS, "00000001.0000000000ff", "\0\0\0\x01\0\0\0\0\0\xff"sv, "00000001.0000000000ff",
       "00000001.0000000000ff"},
      {OX_IPV6ADDRESS, "2001:db8::1", "\x20\x01\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\x01"sv, "2001:db8::1", "2001:db8::1"},
      {OX_IPV6PREFIX, "2001:db8::/32", "\x20\x01\x0d\xb8\0\0\0\0\0\0\0\0\0\0\0\0\x20"sv, "2001:db8::/32",
       "2001:db8::/32"},
      {OX_IPV6IFID, "2aa:ff:fe9a:5", "\x02\xaa\0\xff\xfe\x9a\0\x05"sv, "2aa:0ff:fe9a:005", "2aa:0ff:fe9a:005"},
      {OX_CODESTRING, "ab", "\x9d\x9e"sv, "********", "********"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    if (row.display == nullptr) {  // a name that is not one of the root's children
      EXPECT_EQ(125u, oxdSetValueByStr(node_, row.type, row.text));
      continue;
    }
    ASSERT_EQ(0u, oxdSetValueByStr(node_, row.type, row.text));
    EXPECT_EQ(static_cast<int32_t>(row.type), oxdGetValueType(node_));
    EXPECT_EQ(row.stored, value());
    EXPECT_STREQ(row.display, oxdGetValueByStr(node_));
    EXPECT_STREQ(row.raw, oxdGetValueByRawStr(node_));
  }
}

TEST_F(ValueText, WrongTextsAreRefusedAndTheValueKept) {
  const struct {
    uint32_t type;
    const char* text;
    OX_RESULT result;
  } rows[] = {{OX_INTEGER, "2147483648", 88},
              {OX_COUNTER, "-1", 70},
              {OX_UNIXTIME, "2009/09/03x", 70},
              {OX_OCTETSTRING, "", 70},
              {OX_OCTETSTRING, "0x", 70},
              {OX_OCTETSTRING, "0X01", 70},
              {OX_OCTETSTRING, "01:", 70},
              {OX_OCTETSTRING, "01:2", 70},
              {OX_OCTETSTRING, "01-02", 70},
              {OX_PHYSADDRESS, "0g", 70},
              {OX_OPAQUE, "+1", 70},
              {OX_OBJECTID, "", 125},
              {OX_OBJECTID, "nosuch", 125},
              {OX_IPV6PREFIX, "2001:db8::", 412},
              {OX_IPV6PREFIX, "2001:db8::/129", 412},
              {OX_IPV6PREFIX, "2001:db8::/", 412},
              {OX_IPV6PREFIX, "2001:db8/32", 412},
              {OX_IPV6IFID, "1:2:3", 70},
              {OX_IPV6IFID, "1:2:3:4:5", 70},
              {OX_IPV6IFID, "1:2::4", 70},
              {OX_IPV6IFID, "10000:2:3:4", 70},
              {OX_AGGREGATE, "1", 61},
              {OX_AMIBNONE, "1", 61},
              {17, "1", 61},
              {19, "1", 61},
              {25, "1", 61},
              {0, "1", 27}};
  oxdSetText(node_, "kept");
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(row.result, oxdSetValueByStr(node_, row.type, row.text)) << row.type;
    EXPECT_EQ("kept\0"sv, value());
  }
  EXPECT_EQ(1u, oxdSetValueByStr(node_, OX_INTEGER, nullptr));
  EXPECT_EQ(1u, oxdSetValueByStr(nullptr, OX_INTEGER, "1"));
}

TEST_F(ValueText, TheAttributeGivesTypeAndNames) {
  EXPECT_EQ(0u, oxdSetAmibName(node_, "iso.org.dod.internet.mgmt.mib-2.system.sysState.0"));
  EXPECT_EQ(0u, oxdSetValueByStr(node_, 0, "2"));
  EXPECT_EQ(OX_INTEGER, oxdGetValueType(node_));
  EXPECT_STREQ("down(2)", oxdGetValueByStr(node_));
  EXPECT_STREQ("2", oxdGetValueByRawStr(node_));
  // The kept tree node goes with the name.
  EXPECT_EQ(0u, oxdSetAmibName(node_, ".1.3.0"));
  EXPECT_EQ(0u, oxdSetValueByStr(node_, 0, "0.02"));
  EXPECT_EQ(OX_TIMETICKS, oxdGetValueType(node_));
  EXPECT_EQ(0u, oxdSetAmibName(node_, "obj.cmn"));
  EXPECT_EQ(61u, oxdSetValueByStr(node_, 0, "2"));
  EXPECT_EQ(0u, oxdSetAmibName(node_, "99"));
  EXPECT_EQ(125u, oxdSetValueByStr(node_, 0, "2"));
}

TEST_F(ValueText, ReadableValuesAreCutAfter255Bytes) {
  const struct {
    uint32_t type;
    std::string bytes;
    std::string display;
    std::string raw;
  } rows[] = {
      {OX_OPAQUE, std::string(255, 'a'), std::string(255, 'a'), std::string(255, 'a')},
      {OX_OPAQUE, std::string(256, 'a'), std::string(255, 'a') + "....", std::string(255, 'a') + "...."},
      {OX_OPAQUE, "", "", ""},
      {OX_OCTETSTRING, "", "", "0x"},
      {OX_PHYSADDRESS, "", "0x", "0x"},
  };
  for (const auto& row : rows) {
    oxdSetBytes(node_, row.type, row.bytes.data(), static_cast<uint32_t>(row.bytes.size()));
    EXPECT_EQ(row.display, oxdGetValueByStr(node_));
    EXPECT_EQ(row.raw, oxdGetValueByRawStr(node_));
  }
  // One unreadable byte, past what is shown, still decides.
  const std::string mixed = std::string(300, 'a') + '\n';
  oxdSetBytes(node_, OX_OCTETSTRING, mixed.data(), static_cast<uint32_t>(mixed.size()));
  const std::string display = oxdGetValueByStr(node_);
  EXPECT_EQ(2u + 255 * 3 - 1 + 4, display.size());
  EXPECT_EQ("61....", display.substr(display.size() - 6));
  EXPECT_EQ(2u + 301 * 3 - 1, std::strlen(oxdGetValueByRawStr(node_)));
}

// Such values come from peers and raw setters only.
TEST_F(ValueText, ValuesOfTheWrongSizeAreShownAsBytes) {
  for (uint32_t type : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 18u, 20u, 21u, 22u, 23u}) {
    void* block = oxcMemAlloc(2, "test");
    std::memcpy(block, "\x01\xff", 2);
    ASSERT_EQ(0u, oxdSetRawValue(node_, type, 2, block));
    EXPECT_STREQ("0x01:ff", oxdGetValueByStr(node_)) << type;
    EXPECT_STREQ("0x01:ff", oxdGetValueByRawStr(node_)) << type;
  }
  for (uint32_t type : {9u, 11u}) {
    void* block = oxcMemAlloc(2, "test");
    std::memcpy(block, "11", 2);
    ASSERT_EQ(0u, oxdSetRawValue(node_, type, 2, block));
    EXPECT_STREQ(type == 9 ? "11" : "obj", oxdGetValueByStr(node_));
  }
  std::string prefix(17, '\xff');
  oxdSetBytes(node_, OX_IPV6PREFIX, prefix.data(), 17);
  EXPECT_EQ(0u, std::string_view(oxdGetValueByStr(node_)).find("0xff:ff"));
}

TEST_F(ValueText, WithoutValueOrConversion) {
  EXPECT_STREQ("(no_value)", oxdGetValueByStr(node_));
  EXPECT_STREQ("(no_value)", oxdGetValueByRawStr(nullptr));
  EXPECT_STREQ("(no_value)", oxdGetValueByCodeStr(node_));
  for (uint32_t type : {15u, 19u, 25u, 0xffffu}) {
    ASSERT_EQ(0u, oxdSetRawValue(node_, type, 0, nullptr));
    EXPECT_STREQ("(bad_type)", oxdGetValueByStr(node_));
    EXPECT_STREQ("(bad_type)", oxdGetValueByRawStr(node_));
    EXPECT_STREQ("(bad_type)", oxdGetValueByCodeStr(node_));
  }
}

TEST_F(ValueText, ACodeStringIsReadBySizeAlone) {
  EXPECT_EQ(0u, oxdSetValueByStr(node_, OX_CODESTRING, "secret"));
  EXPECT_STREQ("secret", oxdGetValueByCodeStr(node_));
  dnode* copy = oxdCopy(node_);  // without terminator
  EXPECT_STREQ("secret", oxdGetValueByCodeStr(copy));
  oxdFree(copy);
  EXPECT_EQ(0u, oxdSetValueByStr(node_, OX_CODESTRING, ""));
  EXPECT_STREQ("", oxdGetValueByCodeStr(node_));
}

TEST_F(ValueText, TextsThatCannotGrowSayNoMemory) {
  const std::string bytes(100000, 'x');
  oxdSetBytes(node_, OX_PHYSADDRESS, bytes.data(), static_cast<uint32_t>(bytes.size()));
  (void)oxdGetValueByStr(node_);  // a thread's first use makes its buffers
  std::thread([&] {
    for (int n = 1; n <= 2; ++n) {
      ox::test::fail_allocation(n);
      const char* text = oxdGetValueByRawStr(node_);
      EXPECT_TRUE(ox::test::stop_failing());
      EXPECT_STREQ("(no_memory)", text);
    }
    EXPECT_EQ(2 + bytes.size() * 3 - 1, std::strlen(oxdGetValueByRawStr(node_)));
  }).join();
}

TEST_F(ValueText, JapaneseTextsAreConvertedForDisplayOnly) {
  const char text[] = "\x83\x65";
  oxdSetText(node_, text);
  EXPECT_STREQ(text, oxdGetValueByRawStr(node_));
  // In another environment the bytes are those of some other encoding and stay.
  EXPECT_EQ(oxcGetEnvLang() != 1, text == std::string(oxdGetValueByStr(node_)));
}

}  // namespace
