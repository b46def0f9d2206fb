// Owned texts, keyword tables, numbers, time ticks, calendar times.
#include <cstring>

#include <oxbase/oxbytes.h>
#include <oxbase/oxc.h>

#include "common/memory.h"
#include "platform/environment.h"
#include "tests/support/byte_text.h"
#include "tests/support/fault_heap.h"
#include "tests/support/given.h"
#include "tests/support/test.h"
#include "tests/support/texts.h"

namespace {

using ox::test::given;

// Expects `parse` to refuse each text, with bars between them, with `code`.
template <class Value = uint32_t, class Parse>
void refuses(Parse parse, OX_RESULT code, const char* texts) {
  for (const std::string& text : ox::test::split(texts)) {
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
