// The bytes of a data node list, both ways.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include <oxbase/oxc.h>
#include <oxbase/oxd.h>

#include "tests/support/fault_heap.h"

using namespace std::literals;

namespace {

dnode* const untouched = reinterpret_cast<dnode*>(0x10);

class DnodeWire : public testing::Test {
 protected:
  void SetUp() override { blocks_ = oxcGetMemValue(1); }
  void TearDown() override { EXPECT_EQ(blocks_, oxcGetMemValue(1)); }

 private:
  uint32_t blocks_ = 0;
};

std::string encode(const dnode* list) {
  void* buffer = nullptr;
  uint32_t length = 0;
  EXPECT_EQ(0u, oxdEncode(list, &buffer, &length));
  std::string bytes(static_cast<const char*>(buffer), length);
  oxcMemFree(buffer);
  return bytes;
}

// From a block of the exact size, so that the sanitizer sees a read past it.
OX_RESULT decode(std::string_view wire, dnode** list) {
  const std::vector<char> exact(wire.begin(), wire.end());
  return oxdDecode(exact.data(), static_cast<uint32_t>(exact.size()), list);
}

struct WireCase {
  const char* what;
  void (*fill)(dnode*);
  std::string_view wire;
};

const WireCase cases[] = {
    {"no fields", [](dnode*) {}, "\0\0"sv},
    {"a text carries its terminator", [](dnode* n) { oxdSetAmibName(n, "11.1.1.0"); },
     "\0\x04\0\x09"
     "11.1.1.0\0"sv},
    {"name, type and path in this order",
     [](dnode* n) {
       oxdSetAmibName(n, "1.0");
       oxdSetCompType(n, "map");
       oxdSetCompName(n, "top");
     },
     "\0\x07\0\x04top\0\0\x04map\0\0\x04"
     "1.0\0"sv},
    {"the id stands between times and error code",
     [](dnode* n) {
       oxdSetErrCode(n, 0x10002);
       oxdSetDnodeId(n, 7);
       oxdSetRspTime(n, 0x80000000);
       oxdSetReqTime(n, 1);
     },
     "\x02\x38\0\0\0\x01\x80\0\0\0\0\0\0\x07\0\x02"sv},
    {"a number is in network order", [](dnode* n) { oxdSetLong(n, -2); }, "\0\x40\0\x01\0\0\0\x04\xff\xff\xff\xfe"sv},
    {"64 bits, low word first in the call", [](dnode* n) { oxdSetCounter64(n, 0x0102030405060708); },
     "\0\x40\0\x12\0\0\0\x08\x01\x02\x03\x04\x05\x06\x07\x08"sv},
    {"an address keeps its bytes",
     [](dnode* n) {
       uint32_t address = 0;
       memcpy(&address, "\xc0\xa8\x01\x02", 4);
       oxdSetUlong(n, OX_IPADDRESS, address);
     },
     "\0\x40\0\x06\0\0\0\x04\xc0\xa8\x01\x02"sv},
    {"a null text is the empty text", [](dnode* n) { oxdSetValue(n, OX_DISPLAYSTRING, 0, 99); },
     "\0\x40\0\x09\0\0\0\x01\0"sv},
    {"the spare zero of octets stays behind", [](dnode* n) { oxdSetBytes(n, OX_OCTETSTRING, "ab\0cd", 5); },
     "\0\x40\0\x08\0\0\0\x05"
     "ab\0cd"sv},
    {"octets may be empty", [](dnode* n) { oxdSetBytes(n, OX_OCTETSTRING, nullptr, 0); }, "\0\x40\0\x08\0\0\0\0"sv},
    {"a mark has one byte", [](dnode* n) { oxdSetValue(n, OX_DELETED, 0, 0); }, "\0\x40\0\x0e\0\0\0\x01\0"sv},
    {"ten bytes", [](dnode* n) { oxdSetBytes(n, OX_IPXADDRESS, "0123456789", 1); },
     "\0\x40\0\x14\0\0\0\x0a"
     "0123456789"sv},
    {"code bytes without their terminator", [](dnode* n) { oxdSetValueByStr(n, OX_CODESTRING, "ab"); },
     "\0\x40\0\x18\0\0\0\x02\x9d\x9e"sv},
};

TEST_F(DnodeWire, BytesAreFixedBothWaysAndEveryCutIsRefused) {
  for (const WireCase& c : cases) {
    SCOPED_TRACE(c.what);
    dnode* node = oxdAlloc(1);
    c.fill(node);
    EXPECT_EQ(c.wire, encode(node));
    oxdFree(node);

    dnode* list = nullptr;
    ASSERT_EQ(0u, decode(c.wire, &list));
    EXPECT_EQ(c.wire, encode(list));
    oxdFree(list);

    for (std::size_t cut = 1; cut < c.wire.size(); ++cut) {
      list = untouched;
      EXPECT_EQ(71u, decode(c.wire.substr(0, cut), &list)) << "cut at " << cut;
      EXPECT_EQ(untouched, list);
      EXPECT_EQ(71u, decode("\0\x01\0\x02x\0"s.append(c.wire.substr(0, cut)), &list)) << "second node cut at " << cut;
      EXPECT_EQ(untouched, list);
    }
  }
}

TEST_F(DnodeWire, WhatAPeerMaySendIsReadWithinItsBounds) {
  const struct {
    const char* what;
    std::string_view wire;
    OX_RESULT result;
    std::string_view again;  // the list, encoded anew
  } rows[] = {
      {"a text ends at its first zero",
       "\0\x01\0\x06"
       "ab\0cd\0"sv,
       0,
       "\0\x01\0\x03"
       "ab\0"sv},
      {"a text without terminator gets one",
       "\0\x01\0\x02"
       "ab"sv,
       0,
       "\0\x01\0\x03"
       "ab\0"sv},
      {"a text of length 0 is present and empty", "\0\x02\0\0"sv, 0, "\0\x02\0\x01\0"sv},
      {"unknown bits mean nothing", "\xfd\x88\0\0\0\x05"sv, 0, "\0\x08\0\0\0\x05"sv},
      {"a type that is none is carried", "\0\x40\xff\xff\0\0\0\x01z"sv, 0, "\0\x40\xff\xff\0\0\0\x01z"sv},
      {"a text value without terminator",
       "\0\x40\0\x09\0\0\0\x02"
       "ab"sv,
       0,
       "\0\x40\0\x09\0\0\0\x02"
       "ab"sv},
      {"an absurd value size",
       "\0\x40\0\x08\xff\xff\xff\xff"
       "ab"sv,
       71, ""sv},
      {"a value one byte short",
       "\0\x40\0\x0c\0\0\0\x03"
       "ab"sv,
       71, ""sv},
      {"a text one byte short",
       "\0\x01\xff\xff"
       "ab"sv,
       71, ""sv},
      {"nothing", ""sv, 0, ""sv},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    dnode* list = nullptr;
    ASSERT_EQ(row.result, decode(row.wire, &list));
    EXPECT_EQ(row.again, list != nullptr ? encode(list) : std::string());
    oxdFree(list);
  }
}

// The example of docs/protocol.md.
TEST_F(DnodeWire, AnAnswerAndAQuestionInOneList) {
  const std::string_view wire =
      "\0\x75\0\x07router\0\0\x09"
      "11.1.3.0\0\x4a\x9f\x98\x6e\0\0\0\x04\0\0\0\x04\0\0\x17\x70"
      "\x02\x04\0\x09"
      "11.1.1.0\0\0\0\0\x07"sv;
  dnode* list = nullptr;
  ASSERT_EQ(0u, oxdSetAllData(&list, nullptr, "router", "11.1.3.0", 0, 1251973230, 0, OX_TIMETICKS, 6000, 0));
  dnode* question = oxdAlloc(1);
  oxdSetAmibName(question, "11.1.1.0");
  oxdSetDnodeId(question, 7);
  oxcQueueAdd(&list, question);
  EXPECT_EQ(wire, encode(list));
  oxdFree(list);
}

TEST_F(DnodeWire, DecodedTextsAndOctetsEndInAZeroByte) {
  dnode* list = nullptr;
  ASSERT_EQ(0u, decode("\0\x40\0\x08\0\0\0\x05hello\0\x40\0\x09\0\0\0\x02hi"sv, &list));
  EXPECT_STREQ("hello", static_cast<const char*>(oxdGetValueValue(list)));
  EXPECT_EQ(5, oxdGetValueSize(list));
  EXPECT_STREQ("hi", static_cast<const char*>(oxdGetValueValue(oxdNext(list))));
  oxdFree(list);
}

TEST_F(DnodeWire, LengthsAtTheLimitOfTheirWord) {
  dnode* node = oxdAlloc(1);
  void* buffer = nullptr;
  uint32_t length = 0;
  oxdSetCompName(node, std::string(65534, 'n').c_str());
  ASSERT_EQ(0u, oxdEncode(node, &buffer, &length));
  EXPECT_EQ(2u + 2 + 65535, length);
  oxcMemFree(buffer);
  oxdSetCompName(node, std::string(65535, 'n').c_str());
  buffer = &length;
  EXPECT_EQ(266u, oxdEncode(node, &buffer, &length));
  EXPECT_EQ(&length, buffer);
  EXPECT_EQ(0u, oxdEncode(nullptr, nullptr, nullptr));
  EXPECT_EQ(1u, oxdEncode(node, nullptr, &length));
  oxdFree(node);
}

TEST_F(DnodeWire, EveryAllocationMayFail) {
  const std::string_view wire =
      "\0\x47\0\x04top\0\0\x04map\0\0\x04"
      "1.0\0\0\x09\0\0\0\x02"
      "x\0"
      "\0\x40\0\x08\0\0\0\x01y\0\x40\0\x18\0\0\0\x01z"sv;
  dnode* list = nullptr;
  ASSERT_EQ(0u, decode(wire, &list));
  ox::test::every_allocation_may_fail([&] {
    void* buffer = nullptr;
    uint32_t length = 0;
    const OX_RESULT result = oxdEncode(list, &buffer, &length);
    oxcMemFree(buffer);
    return result;
  });
  oxdFree(list);
  ox::test::every_allocation_may_fail([&] {
    dnode* decoded = nullptr;
    const OX_RESULT result = oxdDecode(wire.data(), static_cast<uint32_t>(wire.size()), &decoded);
    EXPECT_EQ(result == 0, decoded != nullptr);
    oxdFree(decoded);
    return result;
  });
}

}  // namespace
