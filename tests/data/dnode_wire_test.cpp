// The bytes of a data node list, both ways.
#include <cstring>
#include <utility>
#include <vector>

#include "tests/data/data_fixture.h"
#include "tests/support/byte_text.h"

namespace {

using ox::test::bytes, ox::test::encoded;
using DnodeWire = ox::test::CountedNodeTest;

dnode* const untouched = reinterpret_cast<dnode*>(0x10);

// From a block of the exact size, so that the sanitizer sees a read past it.
OX_RESULT decode(std::string_view wire, dnode** list) {
  const std::vector<char> exact(wire.begin(), wire.end());
  return oxdDecode(exact.data(), static_cast<uint32_t>(exact.size()), list);
}

void set_address(dnode* node) {
  uint32_t address = 0;
  std::memcpy(&address, "\xc0\xa8\x01\x02", 4);
  oxdSetUlong(node, OX_IPADDRESS, address);
}

TEST_F(DnodeWire, BytesAreFixedBothWaysAndEveryCutIsRefused) {
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
      {"0040 0014 0000000a '0123456789'", [](dnode* n) { oxdSetBytes(n, OX_IPXADDRESS, "0123456789", 1); }},
  };
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

TEST_F(DnodeWire, WhatAPeerMaySendIsReadWithinItsBounds) {
  const struct {
    const char* what;
    const char* wire;
    OX_RESULT result;
    const char* again;  // the list, encoded anew
  } rows[] = {
      {"a text ends at its first zero", "0001 0006'ab'00'cd'00", 0, "0001 0003'ab'00"},
      {"a text without terminator gets one", "0001 0002'ab'", 0, "0001 0003'ab'00"},
      {"a text of length 0 is present and empty", "0002 0000", 0, "0002 0001 00"},
      {"unknown bits mean nothing", "fd88 00000005", 0, "0008 00000005"},
      {"a type that is none is carried", "0040 ffff 00000001 7a", 0, "0040 ffff 00000001 7a"},
      {"a text value without terminator", "0040 0009 00000002'ab'", 0, "0040 0009 00000002'ab'"},
      {"an absurd value size", "0040 0008 ffffffff'ab'", 71, ""},
      {"a value one byte short", "0040 000c 00000003'ab'", 71, ""},
      {"a text far too short", "0001 ffff'ab'", 71, ""},
      {"nothing", "", 0, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    dnode* list = nullptr;
    ASSERT_EQ(row.result, decode(bytes(row.wire), &list));
    EXPECT_EQ(bytes(row.again), list != nullptr ? encoded(list) : "");
    oxdFree(list);
  }
}

TEST_F(DnodeWire, NodesAreMadeFromAllTheirFieldsOrNotAtAll) {
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
  EXPECT_EQ(1u, oxdSetAllData(nullptr, "t", "a", "1.0", 0, 0, 0, 0, 0, 0));
  EXPECT_EQ(bytes("0075 0007'router'00 0009'11.1.3.0'00 4a9f986e 0000 0004 00000004 00001770"
                  "0204 0009'11.1.1.0'00 00000007"
                  "002a 0002't'00 00000005 0008"),
            encoded(list));
  oxdFree(list);
}

TEST_F(DnodeWire, DecodedTextsAndOctetsEndInAZeroByte) {
  dnode* list = nullptr;
  ASSERT_EQ(0u, decode(bytes("0040 0008 00000005'hello' 0040 0009 00000002'hi'"), &list));
  EXPECT_STREQ("hello", static_cast<const char*>(oxdGetValueValue(list)));
  EXPECT_EQ(5, oxdGetValueSize(list));
  EXPECT_STREQ("hi", static_cast<const char*>(oxdGetValueValue(oxdNext(list))));
  oxdFree(list);
}

TEST_F(DnodeWire, LengthsAtTheLimitOfTheirWord) {
  void* buffer = nullptr;
  uint32_t length = 0;
  oxdSetCompName(node_, std::string(65534, 'n').c_str());
  EXPECT_EQ(2u + 2 + 65535, encoded(node_).size());
  oxdSetCompName(node_, std::string(65535, 'n').c_str());
  EXPECT_EQ(266u, oxdEncode(node_, &buffer, &length));
  EXPECT_EQ(nullptr, buffer);
  EXPECT_EQ(0u, oxdEncode(nullptr, nullptr, nullptr));
  EXPECT_EQ(1u, oxdEncode(node_, nullptr, &length));
}

}  // namespace
