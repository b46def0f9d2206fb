// The record: fields, values, lists, copies, and its bytes.
#include <array>
#include <bit>
#include <cstring>
#include <functional>

#include "tests/data/data_fixture.h"
#include "tests/support/byte_text.h"
#include "tests/support/fault_heap.h"
#include "tests/support/given.h"

namespace {

using ox::test::bytes, ox::test::encoded, ox::test::fill, ox::test::given;
using Dnode = ox::test::CountedNodeTest;

TEST_F(Dnode, AClearedFieldIsAbsentAndHasItsOwnCode) {
  fill(node_);
  for (auto clear : {oxdClrCompName, oxdClrCompType, oxdClrAmibName, oxdClrReqTime, oxdClrRspTime, oxdClrDnodeId,
                     oxdClrErrCode, oxdClrValue}) {
    const std::size_t before = encoded(node_).size();
    EXPECT_EQ(0u, clear(node_));
    EXPECT_LT(encoded(node_).size(), before);
    EXPECT_EQ(0u, clear(node_));
  }
  EXPECT_EQ(std::string(2, '\0'), encoded(node_));

  std::string codes;
  for (auto get : {oxdGetCompType, oxdGetCompName, oxdGetAmibName}) codes += given<const char*>(get, node_);
  for (auto get : {oxdGetReqTime, oxdGetRspTime, oxdGetValueByUlong}) codes += given<uint32_t>(get, node_);
  EXPECT_EQ("!25!26!27!28!29!32", codes);
  for (const auto& [get, code] : {std::pair{&oxdGetDnodeId, 30u}, {&oxdGetErrCode, 31u}}) {
    uint32_t number = 99;
    EXPECT_EQ(code, get(node_, &number));
    EXPECT_EQ(0u, number) << code;
  }
  EXPECT_EQ(-1, oxdGetValueType(node_));
  EXPECT_EQ(-1, oxdGetValueSize(node_));
}

TEST_F(Dnode, RefusedSettersKeepTheOldField) {
  fill(node_);
  const std::string before = encoded(node_);
  for (const char* none : {"", static_cast<const char*>(nullptr)}) EXPECT_EQ(59u, oxdSetCompName(node_, none));
  EXPECT_EQ(57u, oxdSetCompType(node_, ""));
  EXPECT_EQ(125u, oxdSetAmibName(node_, ""));
  EXPECT_EQ(14u, oxdSetAmibName(node_, "obj.cmn"));  // no tree to convert it by
  for (uint32_t type : {0u, 15u, 16u, 17u, 19u, 25u, 0x10001u, UINT32_MAX}) {
    EXPECT_EQ(61u, oxdSetValue(node_, type, 1, 1)) << type;
    EXPECT_EQ(61u, oxdSetValueByStr(node_, type == 0 ? 15 : type, "1")) << type;
  }
  EXPECT_EQ(1u, oxdSetBytes(node_, OX_OPAQUE, nullptr, 1));
  EXPECT_EQ(1u, oxdSetRawValue(node_, OX_OPAQUE, 1, nullptr));
  EXPECT_EQ(3u, oxdSetBytes(node_, OX_OCTETSTRING, "x", UINT32_MAX));
  EXPECT_EQ(before, encoded(node_));
}

// A path of digits and dots is kept as it stands, a raw value taken over: also from the field itself.
TEST_F(Dnode, OwnFieldsAreGoodArguments) {
  const char* path = ".1.1.0";
  for (int own = 0; own < 2; ++own) {
    EXPECT_EQ(0u, oxdSetAmibName(node_, path));
    EXPECT_EQ(0u, oxdGetAmibName(node_, &path));
    EXPECT_STREQ(".1.1.0", path);
  }
  void* block = ox::test::block_of("abcd");
  EXPECT_EQ(0u, oxdSetRawValue(node_, OX_OPAQUE, 4, block));
  EXPECT_EQ(block, oxdGetValueValue(node_));
  EXPECT_EQ(0u, oxdSetRawValue(node_, OX_PHYSADDRESS, 2, block));
  EXPECT_EQ(bytes("0044 0007 '.1.1.0'00 000a 00000002 'ab'"), encoded(node_));
}

TEST_F(Dnode, NumbersAreReadFromTheValuesFirstBytes) {
  oxdSetLong(node_, -2);
  EXPECT_EQ("-2", given<int32_t>(oxdGetValueByLong, node_));
  EXPECT_EQ("!70", given<uint64_t>(oxdGetValueByUlonglong, node_));
  oxdSetCounter64(node_, UINT64_C(0xfffffffe00000003));
  EXPECT_EQ(std::to_string(0xfffffffe00000003), given<uint64_t>(oxdGetValueByUlonglong, node_));
  EXPECT_EQ("-2", given<int32_t>(oxdGetValueByLong, node_));
}

TEST_F(Dnode, ACopyIsAListOfItsOwn) {
  dnode* list = oxdAlloc(3);
  dnode* second = oxdNext(list);
  fill(second);
  const std::string before = encoded(list);
  dnode* copy = oxdCopy(second);
  EXPECT_EQ(nullptr, oxdNext(copy));
  EXPECT_EQ(copy, oxdPrev(copy));
  EXPECT_EQ(before, encoded(list));
  oxdSetText(second, "changed");
  EXPECT_EQ(before, std::string(2, '\0') + encoded(copy) + std::string(2, '\0'));
  oxdFree(list);
  oxdFree(copy);
}

TEST_F(Dnode, FreeingFromTheMiddleLeavesAWholeListBefore) {
  dnode* list = oxdAlloc(4);
  dnode* second = oxdNext(list);
  EXPECT_EQ(0u, oxdFree(oxdNext(second)));
  EXPECT_EQ(second, oxdPrev(list));
  EXPECT_EQ(nullptr, oxdNext(second));
  dnode* more = oxdAlloc(1);
  oxcQueueAdd(&list, more);
  EXPECT_EQ(more, oxdNext(second));
  EXPECT_EQ(0u, oxdFree(list));
  EXPECT_EQ(nullptr, oxdAlloc(0));
}

TEST_F(Dnode, AnIconLocationTravelsInItsOwnOrder) {
  const oxIconLocation written{9, 1, 2, 3, 4, 5, 6};
  EXPECT_EQ(0u, oxdSetIconLocation(node_, &written));
  EXPECT_STREQ("3,4,5,6,1,2", static_cast<const char*>(oxdGetValueValue(node_)));
  using Fields = std::array<int32_t, 7>;
  const auto read = [this](const char* text, OX_RESULT expected) {
    oxdSetText(node_, text);
    oxIconLocation location{42, 42, 42, 42, 42, 42, 42};
    EXPECT_EQ(expected, oxdGetIconLocation(node_, &location)) << text;
    return std::bit_cast<Fields>(location);
  };
  EXPECT_EQ((Fields{42, 1, 2, 3, 4, 5, 6}), read("3,4,5,6,1,2", 0));
  EXPECT_EQ((Fields{42, -1, -1, 7, 8, -1, -1}), read("7,8", 0));
  EXPECT_EQ((Fields{42, -1, -1, -1, -1, -1, -1}), read("", 0));
  EXPECT_EQ((Fields{42, -1, -1, INT32_MAX, -1, -1, -1}), read("2147483647", 0));
  // Also "-1", although the setter writes it.
  for (const char* text : {"2147483648", "1,,2", ",1", "1,", "1,2,3,4,5,6,7", "-1,2"}) {
    EXPECT_EQ((Fields{42, 42, 42, 42, 42, 42, 42}), read(text, 70)) << text;
  }
}

TEST_F(Dnode, EveryAllocationMayFail) {
  fill(node_);
  const std::string wire = encoded(node_);
  const oxIconLocation location{};
  dnode* list = nullptr;
  const auto made = [&](dnode* node) { return (list = node) != nullptr ? OX_RESULT{0} : OX_RESULT{3}; };
  const std::pair<const char*, std::function<OX_RESULT()>> operations[] = {
      {"nodes", [&] { return made(oxdAlloc(3)); }},
      {"copy", [&] { return made(oxdCopy(node_)); }},
      {"all fields", [&] { return oxdSetAllData(&list, "t", "a", "1.0", 1, 1, 1, OX_INTEGER, 1, 0); }},
      {"decode", [&] { return oxdDecode(wire.data(), static_cast<uint32_t>(wire.size()), &list); }},
      {"encode", [&] { return ox::test::encode(node_); }},
      {"text", [&] { return oxdSetCompName(node_, "top"); }},
      {"path", [&] { return oxdSetAmibName(node_, "11.1.1.0"); }},
      {"location", [&] { return oxdSetIconLocation(node_, &location); }},
      {"octets", [&] { return oxdSetValueByStr(node_, OX_OCTETSTRING, "0x61:62"); }},
      {"value", [&] { return oxdSetText(node_, "value"); }}};
  for (const auto& [what, operation] : operations) {
    SCOPED_TRACE(what);
    ox::test::every_allocation_may_fail([&, &run = operation] {
      const OX_RESULT result = run();
      oxdFree(std::exchange(list, nullptr));
      return result;
    });
  }
  EXPECT_EQ(wire, encoded(node_));
}

dnode* const untouched = reinterpret_cast<dnode*>(0x10);

OX_RESULT decode(std::string_view wire, dnode** list) {
  return ox::test::give_block(wire, [&](void* block, uint32_t size) { return oxdDecode(block, size, list); });
}

void set_address(dnode* node) {
  uint32_t address = 0;
  std::memcpy(&address, "\xc0\xa8\x01\x02", 4);
  oxdSetUlong(node, OX_IPADDRESS, address);
}

TEST_F(Dnode, BytesAreFixedBothWaysAndEveryCutIsRefused) {
  const std::pair<const char*, void (*)(dnode*)> rows[] = {
      {"0000", [](dnode*) {}},
      {"027f 0004'top'00 0004'map'00 0009'11.1.1.0'00 4a9f986e 80000000 00000007 0002 0009 00000006'value'00",
       ox::test::fill},
      {"0040 0001 00000004 fffffffe", [](dnode* n) { oxdSetLong(n, -2); }},
      {"0040 0012 00000008 0102030405060708", [](dnode* n) { oxdSetCounter64(n, 0x0102030405060708); }},
      {"0040 0006 00000004 c0a80102", set_address},  // keeps its bytes
      {"0040 0009 00000001 00", [](dnode* n) { oxdSetValue(n, OX_DISPLAYSTRING, 0, 99); }},
      // The spare zero of octets stays behind, and the terminator of code bytes.
      {"0040 0008 00000005 'ab'00'cd'", [](dnode* n) { oxdSetBytes(n, OX_OCTETSTRING, "ab\0cd", 5); }},
      {"0040 0008 00000000", [](dnode* n) { oxdSetBytes(n, OX_OCTETSTRING, nullptr, 0); }},
      {"0040 0018 00000002 9d9e", [](dnode* n) { oxdSetValueByStr(n, OX_CODESTRING, "ab"); }},
      {"0040 000e 00000001 00", [](dnode* n) { oxdSetValue(n, OX_DELETED, 0, 0); }},
      {"0040 0014 0000000a '0123456789'", [](dnode* n) { oxdSetBytes(n, OX_IPXADDRESS, "0123456789", 1); }}};
  for (const auto& [row, set] : rows) {
    SCOPED_TRACE(row);
    const std::string wire = bytes(row);
    dnode* list = oxdAlloc(1);
    set(list);
    EXPECT_EQ(wire, encoded(list));
    oxdFree(list);
    ASSERT_EQ(0u, decode(wire, &list));
    EXPECT_EQ(wire, encoded(list));
    oxdFree(list);
    for (std::size_t cut = 1; cut < wire.size(); ++cut) {
      list = untouched;
      EXPECT_EQ(71u, decode(wire.substr(0, cut), &list)) << "cut at " << cut;
      EXPECT_EQ(71u, decode(bytes("0001 0002'x'00") + wire.substr(0, cut), &list)) << "second node cut at " << cut;
      EXPECT_EQ(untouched, list);
    }
  }
}

TEST_F(Dnode, WhatAPeerMaySendIsReadWithinItsBounds) {
  // What, bytes, result, the list encoded anew.
  const std::tuple<const char*, const char*, OX_RESULT, const char*> rows[] = {
      {"a text ends at its first zero", "0001 0006'ab'00'cd'00", 0, "0001 0003'ab'00"},
      {"a text without terminator gets one", "0001 0002'ab'", 0, "0001 0003'ab'00"},
      {"a text of length 0 is present and empty", "0002 0000", 0, "0002 0001 00"},
      {"unknown bits mean nothing", "fd88 00000005", 0, "0008 00000005"},
      {"a type that is none is carried", "0040 ffff 00000001 7a", 0, "0040 ffff 00000001 7a"},
      {"a text value without terminator", "0040 0009 00000002'ab'", 0, "0040 0009 00000002'ab'"},
      {"octets", "0040 0008 00000005'hello'", 0, "0040 0008 00000005'hello'"},
      {"an absurd value size", "0040 0008 ffffffff'ab'", 71, ""},
      {"a value one byte short", "0040 000c 00000003'ab'", 71, ""},
      {"a text far too short", "0001 ffff'ab'", 71, ""},
      {"nothing", "", 0, ""}};
  for (const auto& [what, wire, result, again] : rows) {
    SCOPED_TRACE(what);
    dnode* list = nullptr;
    ASSERT_EQ(result, decode(bytes(wire), &list));
    EXPECT_EQ(bytes(again), list != nullptr ? encoded(list) : "");
    if (const int32_t type = oxdGetValueType(list); type == OX_OCTETSTRING || type == OX_DISPLAYSTRING) {
      EXPECT_EQ('\0', static_cast<const char*>(oxdGetValueValue(list))[oxdGetValueSize(list)]);
    }
    oxdFree(list);
  }
}

TEST_F(Dnode, NodesAreMadeFromAllTheirFieldsOrNotAtAll) {
  dnode* list = nullptr;
  const auto text = reinterpret_cast<uintptr_t>("v");
  // The example of docs/protocol.md, and a node with an error instead of a value.
  EXPECT_EQ(0u, oxdSetAllData(&list, nullptr, "router", "11.1.3.0", 0, 1251973230, 0, OX_TIMETICKS, 6000, 0));
  dnode* question = oxdAlloc(1);
  oxdSetAmibName(question, "11.1.1.0");
  oxdSetDnodeId(question, 7);
  oxcQueueAdd(&list, question);
  EXPECT_EQ(0u, oxdSetAllData(&list, "t", nullptr, nullptr, 5, 0, 8, 25, text, 0));
  EXPECT_EQ(57u, oxdSetAllData(&list, "", "a", "1.0", 0, 0, 0, 0, 0, 0));
  EXPECT_EQ(61u, oxdSetAllData(&list, "t", "a", "1.0", 0, 0, 0, OX_AGGREGATE, text, 0));
  EXPECT_EQ(bytes("0075 0007'router'00 0009'11.1.3.0'00 4a9f986e 0000 0004 00000004 00001770"
                  "0204 0009'11.1.1.0'00 00000007"
                  "002a 0002't'00 00000005 0008"),
            encoded(list));
  oxdFree(list);
}

TEST_F(Dnode, LengthsAtTheLimitOfTheirWord) {
  oxdSetCompName(node_, std::string(65534, 'n').c_str());
  EXPECT_EQ(2u + 2 + 65535, encoded(node_).size());
  oxdSetCompName(node_, std::string(65535, 'n').c_str());
  EXPECT_EQ(266u, ox::test::encode(node_));
  EXPECT_EQ(1u, oxdEncode(node_, nullptr, nullptr));
}

}  // namespace
