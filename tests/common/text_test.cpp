// Owned texts, tokens, patterns, keyword tables, numbers, addresses, time ticks, calendar times.
#include <cstring>

#include <oxbase/oxbytes.h>
#include <oxbase/oxc.h>

#include "common/memory.h"
#include "platform/environment.h"
#include "tests/support/byte_text.h"
#include "tests/support/code_page.h"
#include "tests/support/fault_heap.h"
#include "tests/support/given.h"
#include "tests/support/test.h"
#include "tests/support/texts.h"

namespace {

using ox::test::given, ox::test::repeated, ox::test::set_code_page, ox::test::split;

// Expects `parse` to refuse each text, with bars between them, with `code`.
template <class Value = uint32_t, class Parse>
void refuses(Parse parse, OX_RESULT code, const char* texts) {
  for (const std::string& text : split(texts)) {
    EXPECT_EQ("!" + std::to_string(code), given<Value>(parse, text.c_str())) << text;
  }
}

using Rows = std::initializer_list<std::pair<uint32_t, const char*>>;
void both_ways(const char*(OX_CALL* print)(uint32_t), OX_RESULT(OX_CALL* parse)(const char*, uint32_t*), Rows rows) {
  for (const auto& [value, text] : rows) {
    EXPECT_STREQ(text, print(value));
    EXPECT_EQ(std::to_string(value), given<uint32_t>(parse, text)) << text;
  }
}

TEST(Bytes, CursorBytesAreBigEndianAndStringsCarryTheirLength) {
  unsigned char wire[32] = {};
  unsigned char* out = wire;
  EXPECT_EQ(0u, set_short(&out, 0x12345));
  EXPECT_EQ(0u, set_long(&out, 0x89ABCDEF));
  EXPECT_EQ(0u, set_str(&out, "ab", 3));
  EXPECT_EQ(0u, set_str(&out, nullptr, 0));
  const std::string expected = ox::test::bytes("2345 89ABCDEF 0003 'ab'00 0000");
  EXPECT_EQ(expected, std::string(wire, out));
  const unsigned char* in = wire;
  EXPECT_EQ(0x2345u, get_short(&in));
  EXPECT_EQ(0x89ABCDEFu, peek_long(in));
  EXPECT_EQ(0x89ABCDEFu, get_handle(&in));
  EXPECT_EQ(3u, peek_len(in));
  EXPECT_STREQ("ab", get_str(&in));
  EXPECT_EQ(nullptr, get_str(&in));
  EXPECT_EQ(wire + expected.size(), in);
  EXPECT_EQ(0x0102030405060708u, oxcHtonll(0x0807060504030201u));
}

TEST(OwnedText, FailureLeavesTheFieldAndItsOwnTextMayBeTheSource) {
  char* field = nullptr;
  EXPECT_EQ(0u, str_add(&field, "a"));
  EXPECT_EQ(0u, str_set(&field, "abc"));
  ox::test::fail_allocation(1);
  EXPECT_EQ(3u, str_set(&field, "new"));
  ox::test::stop_failing();
  EXPECT_STREQ("abc", field);
  EXPECT_EQ(0u, str_set(&field, field + 1));
  EXPECT_EQ(0u, str_add(&field, nullptr));
  for (int i = 0; i < 8; ++i) EXPECT_EQ(0u, str_add(&field, field));  // moves as it grows
  EXPECT_EQ(512u, std::strlen(field));
  const std::string longer(5000, 'x');
  ox::test::fail_allocation(1);
  EXPECT_EQ(3u, str_add(&field, longer.c_str()));
  ox::test::stop_failing();
  EXPECT_EQ(512u, std::strlen(field));
  EXPECT_EQ(0u, str_set(&field, nullptr));
  EXPECT_EQ(nullptr, field);
  EXPECT_EQ(0u, oxcGetMemValue(1));
}

TEST(BoundedCopy, ATextThatDoesNotFitChangesNothing) {
  char buffer[6] = "";
  EXPECT_EQ(0u, oxcStrcpy(buffer, "abc", 6));
  EXPECT_EQ(152u, oxcStrcpy(buffer, "abcdef", 6));
  EXPECT_EQ(152u, oxcStrcat(buffer, "def", 6));
  EXPECT_EQ(0u, oxcStrcat(buffer, "de", 6));
  EXPECT_STREQ("abcde", buffer);
  EXPECT_EQ(152u, oxcStrcat(buffer, "", 3)) << "no terminator within the stated size";
  EXPECT_EQ(0u, oxcStrcat(nullptr, "x", 0));
}

TEST(Token, QuotesEscapesAndDoubleBytes) {
  set_code_page(932);
  // Line, separators, room, result, tokens.
  const std::tuple<std::string, const char*, uint32_t, OX_RESULT, std::vector<std::string>> cases[] = {
      {"", nullptr, 8, 0, {}},
      {" \t ", nullptr, 8, 0, {}},
      {"  a  b\tc\t", nullptr, 8, 0, {"a", "b", "c"}},
      {"x\"b c\"d 'x\"y' \"'\"", nullptr, 8, 0, {"xb cd", "x\"y", "'"}},
      {"\"\" a ''", nullptr, 8, 0, {"", "a", ""}},
      {"a\\ b \"q\\\"r\" \\\\ z\\", nullptr, 8, 0, {"a b", "q\"r", "\\", "z\\"}},
      {"..1..2.3.", ".", 8, 0, {"1", "2", "3"}},
      {"a b.c", ".", 8, 0, {"a b", "c"}},
      {"a b c", nullptr, 3, 0, {"a", "b", "c"}},
      {"a b c \"d", nullptr, 2, 86, {"a", "b"}},
      {"a", nullptr, 0, 86, {}},
      {"a \"b c", nullptr, 8, 68, {"a", "b c"}},
      {"a 'b\\' c", nullptr, 8, 68, {"a", "b' c"}},
      {"\"", nullptr, 8, 68, {""}},
      // The trail bytes of these characters are those of a backslash, a separator and a quote.
      {"\x83\x5C x", nullptr, 8, 0, {"\x83\x5C", "x"}},
      {"\"\x83\x5C\" x", nullptr, 8, 0, {"\x83\x5C", "x"}},
      {"a\xE0\x7C|b", "|", 8, 0, {"a\xE0\x7C", "b"}},
      {"\x81\x22z \x81\x27", nullptr, 8, 0, {"\x81\x22z", "\x81\x27"}},
      {"\\\x83\x5C b", nullptr, 8, 0, {"\x83\x5C", "b"}},
      {"\xB1\\ \xB2 c", nullptr, 8, 0, {"\xB1 \xB2", "c"}},    // half-width letters are single bytes
      {"a\x83\x5C\x62", "\x83\x5C", 8, 0, {"a\x83\x5C\x62"}},  // separates nothing
      {"a \x83", nullptr, 8, 0, {"a", "\x83"}}};
  for (const auto& [given, separators, maximum, result, expected] : cases) {
    SCOPED_TRACE(given);
    std::vector<char> line(given.c_str(), given.c_str() + given.size() + 1);  // exact, so that an overread is seen
    std::vector<char*> tokens(maximum);
    uint32_t count = 77;
    EXPECT_EQ(result, oxcToken(line.data(), separators, tokens.data(), maximum, &count));
    EXPECT_EQ(expected, std::vector<std::string>(tokens.begin(), tokens.begin() + count));
  }
}

TEST(Wildcard, Patterns) {
  set_code_page(932);
  // "pattern text"; a double-byte character is one character, and its second byte none at all.
  const std::string matching =
      " |* |a* a|*a ba|a*b*c a1b2b3c|?b? abc|*?b** ab|*aab aaaab|? \x83\x5C|\x83* \x83*|*\x83\x5C? a\x83\x5C\x62|? "
      "\x83";
  const std::string failing =
      " a|? |a A|a*b abc|?? abc|ab abc|abc ab|?? \x83\x5C|\x83* \x83\x5C|*\x5C \x83\x5C|*\x95\x95\x5C "
      "\x95\x95\x95\x5C";
  for (const auto& [rows, expected] : {std::pair{matching, 1u}, {failing, 0u}}) {
    for (const std::string& row : split(rows)) {
      const std::vector<std::string> both = split(row, ' ');
      EXPECT_EQ(expected, oxcRegMatch(both[0].c_str(), both[1].c_str())) << testing::PrintToString(row);
      EXPECT_EQ(expected, oxcRegMatch2(both[0].c_str(), both[1].c_str())) << testing::PrintToString(row);
    }
  }
}

TEST(Wildcard, ManyStarsEnd) {
  const std::string pattern = repeated("*a", 100) + "b";
  EXPECT_EQ(0u, oxcRegMatch(pattern.c_str(), std::string(20000, 'a').c_str()));
}

TEST(KeywordTable, FirstMatchWinsAndAnEmptyTextEndsIt) {
  const oxcKeyword nulls[] = {{"on", 1}, {"ON", 2}, {"on", 3}, {"off", 1}, {nullptr, 0}};
  const oxcKeyword empties[] = {{"a", 7}, {"", 9}};
  EXPECT_EQ("1", given<uint32_t>(oxcStrToValue, nulls, "on"));
  EXPECT_EQ("on", given<const char*>(oxcValueToStr, nulls, 1u));
  for (const auto& [table, text] : {std::pair{nulls, "On"}, {empties, ""}, {nullptr, "on"}}) {
    EXPECT_EQ("!183", given<uint32_t>(oxcStrToValue, table, text));
  }
  EXPECT_EQ("!183", given<const char*>(oxcValueToStr, empties, 9u));
}

TEST(NumberText, Forms) {
  // Text and base; what it is as a signed, an unsigned and a long number.
  const std::tuple<const char*, uint32_t, const char*, const char*, const char*> rows[] = {
      {"010", 10, "10", "10", "10"},
      {"010", 0, "8", "8", "8"},
      {"0x1f", 0, "31", "31", "31"},
      {"7u", 10, "!70", "7", "7"},
      {"+5", 10, "5", "!70", "!70"},
      {"zz", 36, "1295", "1295", "1295"},
      {"1", 1, "!1", "!1", "!1"},
      {"-2147483648", 10, "-2147483648", "!70", "!70"},
      {"-2147483649", 10, "!88", "!70", "!70"},
      {"2147483647", 10, "2147483647", "2147483647", "2147483647"},
      {"2147483648", 10, "!88", "2147483648", "2147483648"},
      {"4294967295U", 10, "!70", "4294967295", "4294967295"},
      {"4294967296", 10, "!88", "!88", "4294967296"},
      {"18446744073709551615", 10, "!88", "!88", "18446744073709551615"},
      {"36893488147419103232", 10, "!88", "!88", "!88"},  // wraps to 0
  };
  for (const auto& [text, base, as_signed, as_unsigned, as_long] : rows) {
    SCOPED_TRACE(text);
    EXPECT_EQ(as_signed, given<int32_t>(oxcStrToLong, text, base));
    EXPECT_EQ(as_unsigned, given<uint32_t>(oxcStrToUlong, text, base));
    EXPECT_EQ(as_long, given<uint64_t>(oxcStrToUlonglong, text, base));
  }
  const char wrong[] = "| 1|1 |08|0x|0xg|+-5|U|7UU|99999999999999999999z";
  refuses<int32_t>([](const char* text, int32_t* value) { return oxcStrToLong(text, 0, value); }, 70, wrong);
  refuses([](const char* text, uint32_t* value) { return oxcStrToUlong(text, 0, value); }, 70, wrong);
  EXPECT_STREQ("-2147483648", oxcLongToStr(INT32_MIN));
  EXPECT_STREQ("4294967295", oxcUlongToStr(UINT32_MAX));
  EXPECT_STREQ("18446744073709551615", oxcUlonglongToStr(UINT64_MAX));
}

// Expects every one of the texts, with bars between them, to be refused.
template <class Parse, class Address>
void refuses_addresses(Parse parse, Address* address, const char* texts) {
  for (const std::string& text : split(texts)) EXPECT_EQ(70u, parse(text.c_str(), address)) << text;
}

TEST(Ipv4, DottedQuads) {
  uint32_t address = 0;
  ASSERT_EQ(0u, oxcStrToIpAddr("192.0.2.1", &address));
  EXPECT_EQ(0, std::memcmp(&address, "\xC0\x00\x02\x01", 4));
  refuses_addresses(
      oxcStrToIpAddr, &address,
      "|1.2.3|1.2.3.4.5|1.2.3.256|1.2.3.04|1.2.3.|.1.2.3|1..2.3| 1.2.3.4|1.2.3.4 |1.2.3.+4|1.2.3.0x4|1.2.3.1000");
  EXPECT_STREQ("192.0.2.1", oxcIpAddrToStr(address));
}

TEST(Ipx, NetworkAndNode) {
  unsigned char address[10];
  ASSERT_EQ(0u, oxcStrToIpxAddr("0000ABcd:0080c7123456", address));
  EXPECT_EQ(0, std::memcmp(address, "\x00\x00\xAB\xCD\x00\x80\xC7\x12\x34\x56", 10));
  EXPECT_STREQ("00000000.000000000000", oxcIpxAddrToStr("\0\0\0\0\0\0\0\0\0"));
  refuses_addresses(oxcStrToIpxAddr, address,
                    "|0000abcd|0000abcd.|0000abcd.0080c712345|0000abcd.0080c71234567|0000abcd-0080c7123456|"
                    "000abcd.0080c7123456|0000abcg.0080c7123456");
  EXPECT_STREQ("0000abcd.0080c7123456", oxcIpxAddrToStr(address));
}

TEST(Ipv6, TextsAndTheirShortestForm) {
  const std::pair<const char*, const char*> good[] = {
      {"::1", "::1"},
      {"2001:DB8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},    // the first of two equal runs
      {"2001:0:0:1:0:0:0:1", "2001:0:0:1::1"},          // the longest run
      {"2001:db8::1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},  // one group is no run
      {"::ffff:c000:280", "::ffff:192.0.2.128"},
      {"0:0:0:0:0:0:13.1.68.3", "::13.1.68.3"},
      {"64:ff9b::192.0.2.33", "64:ff9b::c000:221"},
      {"1:2:3:4:5:6:1.2.3.4", "1:2:3:4:5:6:102:304"},
      {"ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"}};
  unsigned char address[16];
  for (const auto& [text, printed] : good) {
    for (const char* form : {text, printed}) {
      ASSERT_EQ(0u, oxcStrToIpv6Addr(form, address)) << form;
      EXPECT_STREQ(printed, oxcIpv6AddrToStr(address)) << form;
    }
  }
  const std::string before = oxcIpv6AddrToStr(address);
  refuses_addresses(
      oxcStrToIpv6Addr, address,
      "|:|:::|1|1:2:3:4:5:6:7|1:2:3:4:5:6:7:8:9|1::2::3|1:2:3:4:5:6:7::8|:1::2|1::2:|12345::|g::|::1.2.3|1.2.3.4|"
      "::1.2.3.4:5|1.2.3.4::|1:2:3:4:5:6:7:1.2.3.4|fe80::1%eth0|::1 |::1/64");
  EXPECT_EQ(before, oxcIpv6AddrToStr(address));
}

TEST(TimeTicks, TextsBothWays) {
  both_ways(oxcTticksToStr, oxcStrToTticks,
            {{0, "0.00"},
             {5, "0.05"},
             {5999, "59.99"},
             {6000, "1:00.00"},
             {360000, "1:00:00.00"},
             {8640000, "24:00:00.00"},
             {UINT32_MAX, "11930:27:52.95"}});
  refuses(oxcStrToTticks, 70, "|.05|1|1:00|1.5|1.005|1:60.00|1:5.00|1:00:00:00.00|1.00 |-1.00");
  refuses(oxcStrToTticks, 88, "11930:27:52.96|99999999999999999999.00");
  EXPECT_EQ("9000", given<uint32_t>(oxcStrToTticks, "90.00"));
}

TEST(CalendarTime, LocalTextsOverTheWholeRange) {
  ASSERT_EQ(0u, ox::platform::set_time_zone("JST-9"));
  both_ways(oxcUxTimeToStr, oxcStrToUxTime,
            {{0, "1970/01/01.09:00:00"},
             {946652399, "1999/12/31.23:59:59"},
             {946652400, "2000/01/01.00:00:00"},
             {2147483648, "2038/01/19.12:14:08"},
             {UINT32_MAX, "2106/02/07.15:28:15"}});
  ASSERT_EQ(0u, ox::platform::set_time_zone("UTC0"));
  both_ways(oxcUxTimeToStr, oxcStrToUxTime, {{0, "1970/01/01.00:00:00"}});
}

TEST(CalendarTime, MissingPartsAndBadTexts) {
  ASSERT_EQ(0u, ox::platform::set_time_zone("EST5EDT,M3.2.0,M11.1.0"));
  const std::string year(oxcUxTimeToStr(static_cast<uint32_t>(std::time(nullptr))), 4);
  const std::pair<const char*, std::string> rows[] = {{"2009/9/3", "2009/09/03.00:00:00"},
                                                      {"2009/09/03.7", "2009/09/03.07:00:00"},
                                                      {"2009/07/03.7:8", "2009/07/03.07:08:00"},
                                                      {"2008/2/29.23:59:59", "2008/02/29.23:59:59"},
                                                      {"1/2.03:04", year + "/01/02.03:04:00"},
                                                      {"08:09", ".08:09:00"},
                                                      {".8:9:0", ".08:09:00"},
                                                      {"8:9:00", ".08:09:00"}};
  uint32_t seconds = 0;
  for (const auto& [text, means] : rows) {
    EXPECT_EQ(0u, oxcStrToUxTime(text, &seconds)) << text;
    const std::string shown = oxcUxTimeToStr(seconds);
    EXPECT_TRUE(shown.ends_with(means)) << text << " is " << shown;
  }
  refuses(oxcStrToUxTime, 70,
          "|.|5|/|2009/09/03x|2009/02/29|2009/13/01|2009/0/1|2009/1/32|24:00|1:60|1:00:60|2009/1/1.|2009/1/1.1:|"
          "2009/1/1/1|1:1:1:1|1969/12/30|2107/1/1|99999/1/1|1/|Past|1:00 |2009/1/1.1.1");
  for (const auto& [word, fixed] : {std::pair{"past", "662655600"}, {"present", "0"}, {"future", "2145916800"}}) {
    EXPECT_EQ(fixed, given<uint32_t>(oxcStrToUxTime, word));
  }
}

}  // namespace
