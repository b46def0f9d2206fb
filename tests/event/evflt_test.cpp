// Filters: what passes, what is left of a list, and the bytes.
#include "event/evflt.h"

#include <utility>

#include "tests/event/event_text.h"
#include "tests/support/fault_heap.h"

namespace ox::test {
namespace {

using EvfltTest = EventTest;

std::string encode(const evflt* filter) {
  void* block = nullptr;
  std::uint32_t length = 0;
  EXPECT_EQ(0u, oxeEvfltEncode(filter, &block, &length));
  return take_block(block, length);
}

OX_RESULT decode(std::string_view wire, evflt** filter) {
  const std::vector<char> exact(wire.begin(), wire.end());
  return oxeEvfltDecode(exact.data(), static_cast<std::uint32_t>(exact.size()), filter);
}

// 0: it does not pass; 1: it does; anything else: the two are no good.
std::uint32_t match(std::string_view event_wire, std::string_view filter_wire) {
  evmsg* event = nullptr;
  evflt* filter = nullptr;
  std::uint32_t result = 99;
  if (oxeEvmsgDecode(bytes(event_wire).data(), static_cast<std::uint32_t>(bytes(event_wire).size()), &event) == 0 &&
      decode(bytes(filter_wire), &filter) == 0) {
    result = oxeEvfltMatch(event, filter);
  }
  oxeEvmsgFree(event);
  oxeEvfltFree(filter);
  return result;
}

TEST_F(EvfltTest, EachCriterionLooksAtItsOwnField) {
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
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(1u, match(row.passes, row.filter));
    EXPECT_EQ(0u, match(row.fails, row.filter));
    EXPECT_EQ(0u, match("00000000", row.filter)) << "the field is absent";
    EXPECT_EQ(1u, match(row.fails, "00000000")) << "no criterion";
  }
}

TEST_F(EvfltTest, TypeClassesAndFlagBits) {
  const struct {
    std::uint32_t type;
    std::vector<std::uint32_t> classes;  // of all that are tried
  } types[] = {{0x100, {}},
               {0x101, {1}},
               {0x103, {1, 2, 3}},
               {0x10F, {1, 2, 3, 4}},
               {0x003, {}},
               {0x200, {512}},
               {0x400, {1024}},
               {0x503, {1, 2, 3, 1024}},
               {0xFFFFFFFF, {1, 2, 3, 4, 512, 1024}}};
  for (const auto& [type, classes] : types) {
    std::vector<std::uint32_t> found;
    for (const std::uint32_t value : {0u, 1u, 2u, 3u, 4u, 5u, 256u, 512u, 768u, 1024u, 1025u}) {
      evmsg* const event = oxeEvmsgAlloc();
      evflt* const filter = oxeEvfltAlloc();
      oxeEvmsgSetEventType(event, type);
      oxeEvfltSet(filter, OX_EVFLT_EVENTTYPE, value);
      if (oxeEvfltMatch(event, filter) != 0) found.push_back(value);
      oxeEvmsgFree(event);
      oxeEvfltFree(filter);
    }
    EXPECT_EQ(classes, found) << type;
  }
  // Switches of the two bits: set (any number but 0), clear; an event without flags, and with the flags 1, 2, 3.
  const struct {
    const char* filter;
    const char* passing;
  } flags[] = {{"00002000 00000002", "0101"},
               {"00002000 00000000", "1010"},
               {"00004000 00000001", "0011"},
               {"00006000 00000001 00000000", "0100"}};
  for (const auto& row : flags) {
    std::string found;
    for (const char* event : {"00000000", "00004000 00000001", "00004000 00000002", "00004000 00000003"}) {
      found += match(event, row.filter) != 0 ? '1' : '0';
    }
    EXPECT_EQ(row.passing, found) << row.filter;
  }
}

TEST_F(EvfltTest, AllCriteriaMustBeMet) {
  const char* const filter = "0030000B 00000064 000000C8 0002 'a' 00 00000001 00000000";  // First is not tested
  EXPECT_EQ(1u, match("00000102 0002 'a' 00 00000096", filter));
  EXPECT_EQ(0u, match("00000102 0002 'b' 00 00000096", filter));
  EXPECT_EQ(0u, match("00000102 0002 'a' 00 000000C9", filter));
  evmsg* const event = oxeEvmsgAlloc();
  EXPECT_EQ(1u, oxeEvfltMatch(event, nullptr));
  EXPECT_EQ(0u, oxeEvfltMatch(nullptr, nullptr));
  oxeEvmsgFree(event);
}

TEST_F(EvfltTest, FirstAndLastShortenAList) {
  const std::vector<std::uint32_t> five = {1, 2, 3, 4, 5};
  const struct {
    std::uint32_t bit, count;
    std::vector<std::uint32_t> of_five, of_two;
  } rows[] = {{OX_EVFLT_FIRST, 1, {1}, {1}},
              {OX_EVFLT_FIRST, 2, {1, 2}, {1, 2}},
              {OX_EVFLT_FIRST, 4, {1, 2, 3, 4}, {1, 2}},
              {OX_EVFLT_FIRST, 5, five, {1, 2}},
              {OX_EVFLT_LAST, 1, {5}, {2}},
              {OX_EVFLT_LAST, 2, {4, 5}, {1, 2}},
              {OX_EVFLT_LAST, 4, {2, 3, 4, 5}, {1, 2}},
              {OX_EVFLT_LAST, 5, five, {1, 2}},
              {OX_EVFLT_LAST, 0xFFFFFFFF, five, {1, 2}},
              {OX_EVFLT_FROMTIME, 1, five, {1, 2}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.bit << ' ' << row.count);
    evflt* const filter = oxeEvfltAlloc();
    EXPECT_EQ(0u, oxeEvfltSet(filter, row.bit, row.count));
    for (const auto& [given, wanted] : {std::pair{five, row.of_five}, std::pair{std::vector{1u, 2u}, row.of_two}}) {
      evmsg* list = events_of(given);
      oxeEvfltFirstLast(&list, filter);
      EXPECT_EQ(wanted, ids(list));
      EXPECT_EQ(nullptr, oxeEvmsgNext(oxeEvmsgPrev(list)));  // its ends are in order
      oxeEvfltFirstLast(&list, nullptr);
      oxeEvmsgFree(list);
    }
    evmsg* one = oxeEvmsgAlloc();  // on no list
    oxeEvfltFirstLast(&one, filter);
    EXPECT_NE(nullptr, one);
    oxeEvmsgFree(one);
    evmsg* none = nullptr;
    oxeEvfltFirstLast(&none, filter);
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
      {"no bit", 0, 1, 195, "00000000"},
      {"two bits", 0x3, 1, 195, "00000000"},
      {"no criterion's bit", 0x800000, 1, 195, "00000000"},
      {"a pattern", OX_EVFLT_SENDER, pattern("a*"), 0, "00000008 0003 'a*' 00"},
      {"no pattern", OX_EVFLT_SENDER, 0, 195, "00000008 0003 'a*' 00"},
      {"an empty pattern", OX_EVFLT_SENDER, pattern(""), 195, "00000008 0003 'a*' 00"},
      {"another pattern", OX_EVFLT_SENDER, pattern("bc"), 0, "00000008 0003 'bc' 00"},
      {"no address", OX_EVFLT_SNMPSRCIPXADDR, 0, 195, "00000008 0003 'bc' 00"},
      {"no first", OX_EVFLT_FIRST, 0, 195, "00000008 0003 'bc' 00"},
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
  EXPECT_EQ(0u, oxeEvfltClr(filter, OX_EVFLT_LAST));
  EXPECT_EQ(0u, oxeEvfltClr(filter, OX_EVFLT_SENDER));
  EXPECT_EQ(0u, oxeEvfltClr(filter, 0x800000));
  EXPECT_EQ(bytes("00000000"), encode(filter));
  EXPECT_EQ(1u, oxeEvfltSet(nullptr, OX_EVFLT_FIRST, 1));
  EXPECT_EQ(1u, oxeEvfltClr(nullptr, OX_EVFLT_FIRST));
  EXPECT_EQ(1u, oxeEvfltEncode(nullptr, nullptr, nullptr));
  EXPECT_EQ(0u, oxeEvfltFree(nullptr));
  oxeEvfltFree(filter);
}

TEST_F(EvfltTest, BytesBothWaysAndEveryCut) {
  const std::string all = bytes(
      "005FFFFF 00000001 00000002 00000003 0002 'a' 00 00000005 00000006 00000007 0002 'b' 00 0002 'c' 00 0002 'd' 00 "
      "0002 'e' 00 0000000C 00000003 'abc' 00 0000000E 0000000F 0002 'f' 00 0002 'g' 00 00000012 00000013 00000014 "
      "00000015 '0123456789'");
  const struct {
    const char* what;
    std::string wire;
    OX_RESULT result;
    std::string again;
  } rows[] = {
      {"all but the last", all, 0, all},
      {"first and last: the first", bytes("00300000 00000002 00000003"), 0, bytes("00100000 00000002")},
      {"no first and last: the last", bytes("00300000 00000000 00000003"), 0, bytes("00200000 00000003")},
      {"counts of 0", bytes("00300000 00000000 00000000"), 0, bytes("00000000")},
      {"bits without a criterion, bytes behind", bytes("FF800004 00000007 01"), 0, bytes("00000004 00000007")},
      {"an absent pattern", bytes("0000000C 00000007 0000"), 0, bytes("00000004 00000007")},
      {"an empty pattern", bytes("0000000C 00000007 0001 00"), 0, bytes("00000004 00000007")},
      {"a pattern that ends too early", bytes("00000008 0004 'a' 00 'c' 00"), 1, ""},
      {"a memo of all lengths", bytes("00001000 FFFFFFFF 00"), 1, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    evflt* filter = nullptr;
    ASSERT_EQ(row.result, decode(row.wire, &filter));
    if (filter != nullptr) {
      EXPECT_EQ(row.again, encode(filter));
    }
    oxeEvfltFree(filter);
  }
  for (std::size_t cut = 0; cut < all.size(); ++cut) {
    evflt* filter = nullptr;
    EXPECT_EQ(1u, decode(all.substr(0, cut), &filter)) << "cut at " << cut;
    EXPECT_EQ(nullptr, filter);
  }
  every_allocation_may_fail([&] {
    evflt* filter = nullptr;
    void* block = nullptr;
    std::uint32_t length = 0;
    OX_RESULT result = oxeEvfltDecode(all.data(), static_cast<std::uint32_t>(all.size()), &filter);
    if (result == 0) result = oxeEvfltSet(filter, OX_EVFLT_MEMO, reinterpret_cast<std::uintptr_t>("other"));
    if (result == 0) result = oxeEvfltEncode(filter, &block, &length);
    oxcMemFree(block);
    oxeEvfltFree(filter);
    return result;
  });
}

}  // namespace
}  // namespace ox::test
