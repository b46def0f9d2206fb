// The record: fields, values, lists, copies.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>

#include <oxbase/oxc.h>
#include <oxbase/oxd.h>

#include "tests/support/fault_heap.h"

namespace {

class Dnode : public testing::Test {
 protected:
  void SetUp() override {
    blocks_ = oxcGetMemValue(1);
    node_ = oxdAlloc(1);
  }
  void TearDown() override {
    oxdFree(node_);
    EXPECT_EQ(blocks_, oxcGetMemValue(1));
  }

  dnode* node_ = nullptr;

 private:
  uint32_t blocks_ = 0;
};

void fill(dnode* node) {
  oxdSetCompName(node, "top");
  oxdSetCompType(node, "map");
  oxdSetAmibName(node, "11.1.1.0");
  oxdSetReqTime(node, 1);
  oxdSetRspTime(node, 2);
  oxdSetDnodeId(node, 3);
  oxdSetErrCode(node, 4);
  oxdSetText(node, "value");
}

std::string encoded(const dnode* list) {
  void* buffer = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(0u, oxdEncode(list, &buffer, &length));
  std::string bytes(static_cast<const char*>(buffer), length);
  oxcMemFree(buffer);
  return bytes;
}

TEST_F(Dnode, AnAbsentFieldHasItsOwnCode) {
  const char* text = "as it was";
  EXPECT_EQ(26u, oxdGetCompName(node_, &text));
  EXPECT_EQ(25u, oxdGetCompType(node_, &text));
  EXPECT_EQ(27u, oxdGetAmibName(node_, &text));
  EXPECT_STREQ("as it was", text);
  const struct {
    OX_RESULT(OX_CALL* get)(const dnode*, uint32_t*);
    OX_RESULT code;
    uint32_t left;  // of the 99 that stood there
  } rows[] = {{oxdGetReqTime, 28, 99},
              {oxdGetRspTime, 29, 99},
              {oxdGetDnodeId, 30, 0},
              {oxdGetErrCode, 31, 0},
              {oxdGetValueByUlong, 32, 99}};
  for (const auto& row : rows) {
    uint32_t number = 99;
    EXPECT_EQ(row.code, row.get(node_, &number));
    EXPECT_EQ(row.left, number);
  }
  EXPECT_EQ(-1, oxdGetValueType(node_));
  EXPECT_EQ(-1, oxdGetValueSize(node_));
}

TEST_F(Dnode, ClearingEachFieldLeavesAnEmptyNode) {
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
  const char* path = nullptr;
  for (const char* name : {"11.1.1.0", ".1.1.0", "."}) {
    EXPECT_EQ(0u, oxdSetAmibName(node_, name));
    EXPECT_EQ(0u, oxdGetAmibName(node_, &path));
    EXPECT_STREQ(name, path);
  }
  EXPECT_EQ(0u, oxdSetAmibName(node_, path));  // the field's own text
  EXPECT_EQ(0u, oxdGetAmibName(node_, &path));
  EXPECT_STREQ(".", path);
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
  oxdSetBytes(node_, OX_OPAQUE, "abc", 3);
  EXPECT_EQ(70u, oxdGetValueByLong(node_, &number));
}

TEST_F(Dnode, ARawValueIsTakenOverEvenFromItself) {
  void* block = oxcMemAlloc(4, "test");
  std::memcpy(block, "abcd", 4);
  EXPECT_EQ(0u, oxdSetRawValue(node_, OX_OPAQUE, 4, block));
  EXPECT_EQ(block, oxdGetValueValue(node_));
  EXPECT_EQ(0u, oxdSetRawValue(node_, OX_PHYSADDRESS, 2, block));
  EXPECT_EQ(2, oxdGetValueSize(node_));
  EXPECT_EQ(0, std::memcmp("ab", oxdGetValueValue(node_), 2));
}

TEST_F(Dnode, ACopyIsAListOfItsOwn) {
  dnode* list = oxdAlloc(3);
  fill(oxdNext(list));
  const std::string before = encoded(list);
  dnode* copy = oxdCopy(oxdNext(list));
  EXPECT_EQ(nullptr, oxdNext(copy));
  EXPECT_EQ(copy, oxdPrev(copy));
  EXPECT_EQ(before, encoded(list));
  EXPECT_EQ(before.size() - 4, encoded(copy).size());
  EXPECT_NE(std::string::npos, before.find(encoded(copy)));
  oxdSetText(oxdNext(list), "changed");
  EXPECT_STREQ("value", static_cast<const char*>(oxdGetValueValue(copy)));
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

TEST_F(Dnode, ANodeIsMadeFromAllItsFieldsOrNotAtAll) {
  dnode* list = nullptr;
  const auto text = reinterpret_cast<uintptr_t>("v");
  EXPECT_EQ(0u, oxdSetAllData(&list, nullptr, "a", "1.0", 0, 5, 0, OX_DISPLAYSTRING, text, 0));
  EXPECT_EQ(0u, oxdSetAllData(&list, "t", nullptr, nullptr, 5, 0, 8, 25, text, 0));
  using namespace std::literals;
  EXPECT_EQ(
      "\0\x75\0\x02"
      "a\0\0\x04"
      "1.0\0\0\0\0\x05\0\0\0\x09\0\0\0\x02v\0"
      "\0\x2a\0\x02t\0\0\0\0\x05\0\x08"sv,
      encoded(list));
  const dnode* last = oxdPrev(list);
  EXPECT_EQ(57u, oxdSetAllData(&list, "", "a", "1.0", 0, 0, 0, 0, 0, 0));
  EXPECT_EQ(61u, oxdSetAllData(&list, "t", "a", "1.0", 0, 0, 0, OX_AGGREGATE, 0, 0));
  EXPECT_EQ(last, oxdPrev(list));
  EXPECT_EQ(1u, oxdSetAllData(nullptr, "t", "a", "1.0", 0, 0, 0, 0, 0, 0));
  oxdFree(list);
}

TEST_F(Dnode, AnIconLocationTravelsInItsOwnOrder) {
  const oxIconLocation written{9, 1, 2, 3, 4, 5, 6};
  EXPECT_EQ(0u, oxdSetIconLocation(node_, &written));
  EXPECT_STREQ("3,4,5,6,1,2", static_cast<const char*>(oxdGetValueValue(node_)));

  const struct {
    const char* text;
    OX_RESULT result;
    int32_t fields[6];  // first to sixth
  } rows[] = {{"3,4,5,6,1,2", 0, {1, 2, 3, 4, 5, 6}},
              {"7,8", 0, {-1, -1, 7, 8, -1, -1}},
              {"", 0, {-1, -1, -1, -1, -1, -1}},
              {"2147483647", 0, {-1, -1, INT32_MAX, -1, -1, -1}},
              {"2147483648", 70, {}},
              {"1,,2", 70, {}},
              {",1", 70, {}},
              {"1,", 70, {}},
              {"1,2,3,4,5,6,7", 70, {}},
              {"-1,2", 70, {}},  // although the setter writes it
              {"1 2", 70, {}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    oxdSetText(node_, row.text);
    oxIconLocation read{42, 42, 42, 42, 42, 42, 42};
    EXPECT_EQ(row.result, oxdGetIconLocation(node_, &read));
    const int32_t fields[] = {read.field1, read.field2, read.field3, read.field4, read.field5, read.field6};
    for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(row.result == 0 ? row.fields[i] : 42, fields[i]) << i;
    EXPECT_EQ(42, read.lead);
  }
  EXPECT_EQ(0u, oxdClrValue(node_));
  oxIconLocation read{};
  EXPECT_EQ(32u, oxdGetIconLocation(node_, &read));
  EXPECT_EQ(1u, oxdGetIconLocation(node_, nullptr));
}

TEST_F(Dnode, EveryAllocationMayFail) {
  fill(node_);
  const std::string before = encoded(node_);
  const auto unless = [](const void* made) { return made != nullptr ? OX_RESULT{0} : OX_RESULT{3}; };
  const oxIconLocation location{};
  ox::test::every_allocation_may_fail([&] {
    dnode* made = oxdAlloc(3);
    oxdFree(made);
    return unless(made);
  });
  ox::test::every_allocation_may_fail([&] {
    dnode* made = oxdCopy(node_);
    oxdFree(made);
    return unless(made);
  });
  ox::test::every_allocation_may_fail([&] {
    dnode* list = nullptr;
    const OX_RESULT result = oxdSetAllData(&list, "t", "a", "1.0", 1, 1, 1, OX_INTEGER, 1, 0);
    oxdFree(list);
    return result;
  });
  ox::test::every_allocation_may_fail([&] { return oxdSetCompName(node_, "top"); });
  ox::test::every_allocation_may_fail([&] { return oxdSetAmibName(node_, "11.1.1.0"); });
  ox::test::every_allocation_may_fail([&] { return oxdSetText(node_, "value"); });
  ox::test::every_allocation_may_fail([&] { return oxdSetValueByStr(node_, OX_DISPLAYSTRING, "value"); });
  EXPECT_EQ(before, encoded(node_));
  for (const char* text : {"1", "0x61:62"}) {
    const uint32_t type = *text == '1' ? OX_COUNTER64 : OX_OCTETSTRING;
    ox::test::every_allocation_may_fail([&] { return oxdSetValueByStr(node_, type, text); });
  }
  ox::test::every_allocation_may_fail([&] { return oxdSetIconLocation(node_, &location); });
}

}  // namespace
