// The record: fields, values, lists, copies.
#include <array>
#include <bit>
#include <cstring>
#include <functional>
#include <utility>

#include "tests/data/data_fixture.h"
#include "tests/support/byte_text.h"
#include "tests/support/fault_heap.h"

namespace {

using ox::test::encoded, ox::test::fill;
using Dnode = ox::test::CountedNodeTest;

TEST_F(Dnode, AClearedFieldIsAbsentAndHasItsOwnCode) {
  fill(node_);
  for (auto clear : {oxdClrCompName, oxdClrCompType, oxdClrAmibName, oxdClrReqTime, oxdClrRspTime, oxdClrDnodeId,
                     oxdClrErrCode, oxdClrValue}) {
    const std::size_t before = encoded(node_).size();
    EXPECT_EQ(0u, clear(node_));
    EXPECT_LT(encoded(node_).size(), before);
    EXPECT_EQ(0u, clear(node_));
    EXPECT_EQ(1u, clear(nullptr));
  }
  EXPECT_EQ(std::string(2, '\0'), encoded(node_));

  const char* text = "as it was";
  EXPECT_EQ(26u, oxdGetCompName(node_, &text));
  EXPECT_EQ(25u, oxdGetCompType(node_, &text));
  EXPECT_EQ(27u, oxdGetAmibName(node_, &text));
  EXPECT_STREQ("as it was", text);
  OX_RESULT code = 28;
  for (auto get : {oxdGetReqTime, oxdGetRspTime, oxdGetDnodeId, oxdGetErrCode, oxdGetValueByUlong}) {
    uint32_t number = 99;
    EXPECT_EQ(code, get(node_, &number));
    EXPECT_EQ(code == 30 || code == 31 ? 0u : 99u, number) << code;
    ++code;
  }
  EXPECT_EQ(-1, oxdGetValueType(node_));
  EXPECT_EQ(-1, oxdGetValueSize(node_));
}

TEST_F(Dnode, RefusedSettersKeepTheOldField) {
  fill(node_);
  const std::string before = encoded(node_);
  EXPECT_EQ(59u, oxdSetCompName(node_, ""));
  EXPECT_EQ(59u, oxdSetCompName(node_, nullptr));
  EXPECT_EQ(57u, oxdSetCompType(node_, ""));
  EXPECT_EQ(125u, oxdSetAmibName(node_, ""));
  EXPECT_EQ(14u, oxdSetAmibName(node_, "obj.cmn"));  // no tree to convert it by
  EXPECT_EQ(1u, oxdSetCompName(nullptr, "x"));
  for (uint32_t type : {0u, 15u, 16u, 17u, 19u, 25u, 0x10001u, UINT32_MAX}) {
    EXPECT_EQ(61u, oxdSetValue(node_, type, 1, 1)) << type;
    EXPECT_EQ(61u, oxdSetValueByStr(node_, type == 0 ? 15 : type, "1")) << type;
  }
  EXPECT_EQ(1u, oxdSetBytes(node_, OX_OPAQUE, nullptr, 1));
  EXPECT_EQ(1u, oxdSetRawValue(node_, OX_OPAQUE, 1, nullptr));
  EXPECT_EQ(3u, oxdSetBytes(node_, OX_OCTETSTRING, "x", UINT32_MAX));
  EXPECT_EQ(before, encoded(node_));
}

TEST_F(Dnode, APathOfDigitsAndDotsIsKeptAsItStands) {
  const char* path = ".1.1.0";
  for (int own = 0; own < 2; ++own) {  // the second time from the field itself
    EXPECT_EQ(0u, oxdSetAmibName(node_, path));
    EXPECT_EQ(0u, oxdGetAmibName(node_, &path));
    EXPECT_STREQ(".1.1.0", path);
  }
}

TEST_F(Dnode, NumbersAreReadFromTheValuesFirstBytes) {
  int32_t number = 0;
  uint64_t wide = 0;
  oxdSetLong(node_, -2);
  EXPECT_EQ(0u, oxdGetValueByLong(node_, &number));
  EXPECT_EQ(-2, number);
  EXPECT_EQ(70u, oxdGetValueByUlonglong(node_, &wide));
  EXPECT_EQ(1u, oxdGetValueByLong(node_, nullptr));
  oxdSetCounter64(node_, UINT64_C(0xfffffffe00000003));
  EXPECT_EQ(0u, oxdGetValueByUlonglong(node_, &wide));
  EXPECT_EQ(UINT64_C(0xfffffffe00000003), wide);
  EXPECT_EQ(0u, oxdGetValueByLong(node_, &number));
  EXPECT_EQ(-2, number);
}

TEST_F(Dnode, ARawValueIsTakenOverEvenFromItself) {
  void* block = oxcMemAlloc(4, "test");
  std::memcpy(block, "abcd", 4);
  EXPECT_EQ(0u, oxdSetRawValue(node_, OX_OPAQUE, 4, block));
  EXPECT_EQ(block, oxdGetValueValue(node_));
  EXPECT_EQ(0u, oxdSetRawValue(node_, OX_PHYSADDRESS, 2, block));
  EXPECT_EQ(ox::test::bytes("0040 000a 00000002 'ab'"), encoded(node_));
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
  EXPECT_EQ(0u, oxdFree(nullptr));
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
  const auto made = [&](dnode* node) {
    list = node;
    return node != nullptr ? OX_RESULT{0} : OX_RESULT{3};
  };
  const std::pair<const char*, std::function<OX_RESULT()>> operations[] = {
      {"nodes", [&] { return made(oxdAlloc(3)); }},
      {"copy", [&] { return made(oxdCopy(node_)); }},
      {"all fields", [&] { return oxdSetAllData(&list, "t", "a", "1.0", 1, 1, 1, OX_INTEGER, 1, 0); }},
      {"decode", [&] { return oxdDecode(wire.data(), static_cast<uint32_t>(wire.size()), &list); }},
      {"encode",
       [&] {
         void* buffer = nullptr;
         uint32_t length = 0;
         const OX_RESULT result = oxdEncode(node_, &buffer, &length);
         oxcMemFree(buffer);
         return result;
       }},
      {"text", [&] { return oxdSetCompName(node_, "top"); }},
      {"path", [&] { return oxdSetAmibName(node_, "11.1.1.0"); }},
      {"location", [&] { return oxdSetIconLocation(node_, &location); }},
      {"octets", [&] { return oxdSetValueByStr(node_, OX_OCTETSTRING, "0x61:62"); }},
      {"value", [&] { return oxdSetText(node_, "value"); }},
  };
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

}  // namespace
