// Filters: what passes, what is left of a list, and what may be set.
#include "tests/event/event_text.h"

namespace ox::test {
namespace {

using EvfltTest = EventTest;

// 1: the event passes.
std::uint32_t match(std::string_view event_wire, std::string_view filter_wire) {
  evmsg* const event = events_of(event_wire);
  evflt* filter = nullptr;
  EXPECT_EQ(0u, decode_by(oxeEvfltDecode, filter_wire, &filter));
  const std::uint32_t result = oxeEvfltMatch(event, filter);
  oxeEvmsgFree(event);
  oxeEvfltFree(filter);
  return result;
}

TEST_F(EvfltTest, EachCriterionLooksAtItsOwnField) {
  const char* const several = "0030000B 00000064 000000C8 0002 'a' 00 00000001 00000000";
  const struct {
    const char* what;
    const char* filter;
    const char* passes;  // an event with the field
    const char* fails;   // likewise, another value
  } rows[] = {
      {"from", "00000001 00000064", "00000100 00000064", "00000100 00000063"},
      {"from, unsigned", "00000001 80000000", "00000100 FFFFFFFF", "00000100 7FFFFFFF"},
      {"to", "00000002 000000C8", "00000100 000000C8", "00000100 000000C9"},
      {"send identifier", "00000004 00000007", "00000001 00000007", "00000001 00000008"},
      {"sender", "00000008 0003 'a*' 00", "00000002 0004 'abc' 00", "00000002 0004 'bbc' 00"},
      {"level", "00000010 00000003", "00000004 00000103", "00000004 00000102"},
      {"event identifier", "00000020 00000007", "00000008 00000007", "00000008 00000006"},
      {"referred event", "00000040 00000007", "00000010 00000007", "00000010 00000006"},
      {"community", "00000080 0002 '?' 00", "00000020 0002 'c' 00", "00000020 0003 'cc' 00"},
      {"component type", "00000100 0002 't' 00", "00000040 0002 't' 00", "00000040 0002 'T' 00"},
      {"component name", "00000200 0003 '*n' 00", "00000080 0003 'nn' 00", "00000080 0003 'no' 00"},
      {"message file", "00000400 0003 'f?' 00", "00000400 0003 'fg' 00", "00000400 0002 'f' 00"},
      {"message number", "00000800 00000007", "00000800 00000007", "00000800 00000006"},
      {"memo", "00001000 00000002 'm*' 00", "00002000 00000001 'm' 00", "00002000 00000001 'n' 00"},
      {"trap community", "00008000 0002 'p' 00", "00010000 0002 'p' 00", "00010000 0002 'q' 00"},
      {"enterprise", "00010000 0003 '1*' 00", "00020000 0004 '1.3' 00", "00020000 0004 '2.3' 00"},
      {"agent", "00020000 0A000001", "00040000 0A000001", "00040000 0A000002"},
      {"generic trap", "00040000 00000000", "00080000 00000000", "00080000 00000006"},
      {"specific trap", "00080000 00000007", "00100000 00000007", "00100000 00000006"},
      {"IPX source", "00400000 '0123456789'", "00800000 '0123456789'", "00800000 '0123456780'"},
      {"all must be met", several, "00000102 0002 'a' 00 00000096", "00000102 0002 'b' 00 00000096"},
      {"whichever", several, "00000103 00000000 0002 'a' 00 00000096", "00000102 0002 'a' 00 000000C9"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(1u, match(bytes(row.passes), bytes(row.filter)));
    EXPECT_EQ(0u, match(bytes(row.fails), bytes(row.filter)));
    EXPECT_EQ(0u, match(word(0), bytes(row.filter))) << "the field is absent";
    EXPECT_EQ(1u, match(bytes(row.fails), word(0))) << "no criterion";
  }
}

TEST_F(EvfltTest, TypeClassesAndFlagBits) {
  const std::pair<std::uint32_t, std::string> types[] = {{0x100, ""},
                                                         {0x101, "1 "},
                                                         {0x103, "1 2 3 "},
                                                         {0x10F, "1 2 3 4 "},
                                                         {0x003, ""},
                                                         {0x200, "512 "},
                                                         {0x400, "1024 "},
                                                         {0x503, "1 2 3 1024 "},
                                                         {UINT32_MAX, "1 2 3 4 512 1024 "}};
  for (const auto& [type, classes] : types) {
    std::string found;
    for (const std::uint32_t value : {0u, 1u, 2u, 3u, 4u, 5u, 256u, 512u, 768u, 1024u, 1025u}) {
      if (match(word(4) + word(type), word(0x10) + word(value)) != 0) found += std::to_string(value) + ' ';
    }
    EXPECT_EQ(classes, found) << type;
  }
  // Switches of the two bits: set (any number but 0), clear; an event without flags, and with the flags 1, 2, 3.
  const std::pair<std::string, std::string> flags[] = {{word(0x2000) + word(2), "0101"},
                                                       {word(0x2000) + word(0), "1010"},
                                                       {word(0x4000) + word(1), "0011"},
                                                       {word(0x6000) + word(1) + word(0), "0100"}};
  for (const auto& [filter, passing] : flags) {
    std::string found = std::to_string(match(word(0), filter));
    for (const std::uint32_t flag : {1u, 2u, 3u}) found += std::to_string(match(word(0x4000) + word(flag), filter));
    EXPECT_EQ(passing, found);
  }
}

TEST_F(EvfltTest, FirstAndLastShortenAList) {
  const struct {
    std::uint32_t bit, count;
    const char* left;
  } rows[] = {{OX_EVFLT_FIRST, 1, "1"},       {OX_EVFLT_FIRST, 2, "1 2"},  {OX_EVFLT_FIRST, 3, "1 2 3"},
              {OX_EVFLT_FIRST, 4, "1 2 3"},   {OX_EVFLT_LAST, 1, "3"},     {OX_EVFLT_LAST, 2, "2 3"},
              {OX_EVFLT_LAST, 3, "1 2 3"},    {OX_EVFLT_LAST, 4, "1 2 3"}, {OX_EVFLT_LAST, UINT32_MAX, "1 2 3"},
              {OX_EVFLT_FROMTIME, 1, "1 2 3"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.bit << ' ' << row.count);
    evflt* const filter = oxeEvfltAlloc();
    EXPECT_EQ(0u, oxeEvfltSet(filter, row.bit, row.count));
    evmsg* list = events_of(event_bytes({1, 2, 3}));
    oxeEvfltFirstLast(&list, filter);
    EXPECT_EQ(row.left, ids(list));
    EXPECT_EQ(nullptr, oxeEvmsgNext(oxeEvmsgPrev(list)));  // its ends are in order
    oxeEvfltFirstLast(&list, nullptr);
    oxeEvmsgFree(list);
    list = oxeEvmsgAlloc();  // on no list
    oxeEvfltFirstLast(&list, filter);
    EXPECT_NE(nullptr, list);
    oxeEvmsgFree(std::exchange(list, nullptr));
    oxeEvfltFirstLast(&list, filter);
    oxeEvfltFirstLast(nullptr, filter);
    oxeEvfltFree(filter);
  }
}

TEST_F(EvfltTest, SettingAndClearing) {
  evflt* const filter = oxeEvfltAlloc();
  const auto pattern = [](const char* text) { return reinterpret_cast<std::uintptr_t>(text); };
  const struct {
    const char* what;
    std::uint32_t bit;
    std::uintptr_t value;
    OX_RESULT result;
    const char* after;
  } rows[] = {
      {"two bits", 0x3, 1, 195, "00000000"},
      {"no criterion's bit", 0x800000, 1, 195, "00000000"},
      {"a pattern", OX_EVFLT_SENDER, pattern("a*"), 0, "00000008 0003 'a*' 00"},
      {"no pattern", OX_EVFLT_SENDER, 0, 195, "00000008 0003 'a*' 00"},
      {"an empty pattern", OX_EVFLT_SENDER, pattern(""), 195, "00000008 0003 'a*' 00"},
      {"another pattern", OX_EVFLT_SENDER, pattern("bc"), 0, "00000008 0003 'bc' 00"},
      {"no address", OX_EVFLT_SNMPSRCIPXADDR, 0, 195, "00000008 0003 'bc' 00"},
      {"the first", OX_EVFLT_FIRST, 2, 0, "00100008 0003 'bc' 00 00000002"},
      {"the last, too", OX_EVFLT_LAST, 2, 278, "00100008 0003 'bc' 00 00000002"},
      {"no last, too", OX_EVFLT_LAST, 0, 278, "00100008 0003 'bc' 00 00000002"},
      {"no first any more", OX_EVFLT_FIRST, 0, 195, "00000008 0003 'bc' 00"},
      {"the last", OX_EVFLT_LAST, 3, 0, "00200008 0003 'bc' 00 00000003"},
      {"the first, too", OX_EVFLT_FIRST, 3, 278, "00200008 0003 'bc' 00 00000003"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(row.result, oxeEvfltSet(filter, row.bit, row.value));
    EXPECT_EQ(bytes(row.after), encode(filter));
  }
  for (const unsigned bit : {0u + OX_EVFLT_LAST, 0u + OX_EVFLT_SENDER, 0x800000u})
    EXPECT_EQ(0u, oxeEvfltClr(filter, bit));
  EXPECT_EQ(bytes("00000000"), encode(filter));
  evmsg* const event = oxeEvmsgAlloc();
  EXPECT_EQ(1u, oxeEvfltMatch(event, nullptr));
  oxeEvmsgFree(event);
  oxeEvfltFree(filter);
}

}  // namespace
}  // namespace ox::test
