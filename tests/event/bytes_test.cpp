// The bytes of events, in both encodings, and of filters.
#include "tests/event/event_text.h"
#include "tests/support/fault_heap.h"

namespace ox::test {
namespace {

using BytesTest = EventTest;

const std::string every_criterion = bytes(
    "005FFFFF 00000001 00000002 00000003 0002 'a' 00 00000005 00000006 00000007 0002 'b' 00 0002 'c' 00 0002 'd' 00 "
    "0002 'e' 00 0000000C 00000003 'abc' 00 0000000E 0000000F 0002 'f' 00 0002 'g' 00 00000012 00000013 00000014 "
    "00000015 '0123456789'");
const std::string older_texts = bytes(
    "0005 'comm' 00 0004 'map' 00 0005 'type' 00 0005 'name' 00 0004 'opt' 00 0004 'abc' 00 0004 'pub' 00 "
    "0006 '1.3.6' 00");
const std::string nodes = bytes("0004 0004 '1.0' 00");
const std::string every_older =
    bytes("00000004 80000001 00000009 0000000A 00000403 0000000C 0000000F 0A000001 00000014 00000015 00000016") +
    older_texts + nodes;

// The bytes of what has been decoded, and how: appended to a list, which else stays as it was.
OX_RESULT events(std::string_view wire, std::string& again) {
  evmsg* list = events_of(event_bytes({9}));
  const OX_RESULT result = decode_by(oxeEvmsgDecode, wire, &list);
  again = encode(list);
  EXPECT_EQ(event_bytes({9}), again.substr(0, 8));
  again.erase(0, 8);
  oxeEvmsgFree(list);
  return result;
}
OX_RESULT older(std::string_view wire, std::string& again) {
  evmsg* event = nullptr;
  const OX_RESULT result = decode_by(oxeEvmsgDecodeR21, wire, &event);
  again = encode(event);
  oxeEvmsgFree(event);
  return result;
}
OX_RESULT filter(std::string_view wire, std::string& again) {
  evflt* made = nullptr;
  const OX_RESULT result = decode_by(oxeEvfltDecode, wire, &made);
  again = made != nullptr ? encode(made) : "";
  oxeEvfltFree(made);
  return result;
}

TEST_F(BytesTest, WhatAPeerMaySend) {
  const std::string no_texts = "0000 0000 0000 0000 0000 0000 0000 0000";
  const std::string numbers(88, '0');
  const struct {
    const char* what;
    OX_RESULT (*decode)(std::string_view, std::string&);
    std::string wire;
    OX_RESULT result;
    std::string again;
  } rows[] = {
      {"every field", events, every_field_wire, 0, every_field_wire},
      {"bits without a field", events, "FF000001 00000007", 0, "00000001 00000007"},
      {"a text of length 0 is absent", events, "00000006 0000 00000007", 0, "00000004 00000007"},
      {"an empty text is absent", events, "00000006 0001 00 00000007", 0, "00000004 00000007"},
      {"an empty memo is absent", events, "00002000 00000000 00", 0, "00000000"},
      {"an empty list is absent", events, "00008000 00000000", 0, "00000000"},
      {"a text that ends too early", events, "00000002 0004 'a' 00 'c' 00", 1, ""},
      {"a text without an end", events, "00000002 0003 'abc'", 1, ""},
      {"a memo of all lengths", events, "00002000 FFFFFFFF", 1, ""},
      {"a broken list", events, "00008000 00000003 0004 00", 71, ""},
      {"no events", events, "", 0, ""},

      {"first and last: the first", filter, "00300000 00000002 00000003", 0, "00100000 00000002"},
      {"no first and last: the last", filter, "00300000 00000000 00000003", 0, "00200000 00000003"},
      {"counts of 0", filter, "00300000 00000000 00000000", 0, "00000000"},
      {"bits without a criterion, bytes behind", filter, "FF800004 00000007 01", 0, "00000004 00000007"},
      {"an empty pattern", filter, "0000000C 00000007 0001 00", 0, "00000004 00000007"},
      {"not a trap", older,
       "00000004 00000000 00000009 0000000A 00000303 0000000C 0000000F 00000001 00000002" +
           std::string("00000003 00000004 0000 0000 0000 0000 0000 0000 0002 'c' 00 0002 '1' 00"),
       0, "00004B0C 00000303 00000004 00000009 0000000A 0000000C 0000000F"},
      {"texts with a zero before their end", older,
       numbers + "0005 'ab' 00 'c' 00 0003 00 'b' 00 0002 0000 0000 0000 0000 0000 0000", 0, "00000020 0003 'ab' 00"},
      {"a text without a zero", older, numbers + "0002 'ab'" + no_texts, 1, ""},
      {"a trap of zeros", older, numbers.substr(0, 32) + "00000400" + numbers.substr(0, 48) + no_texts, 0,
       "00000004 00000400"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    std::string again;
    EXPECT_EQ(row.result, row.decode(bytes(row.wire), again));
    EXPECT_EQ(bytes(row.again), again);
  }
}

TEST_F(BytesTest, EveryCutIsRefused) {
  const std::string wire = bytes(every_field_wire);
  std::string again;
  for (std::size_t cut = 1; cut < wire.size(); ++cut) {
    EXPECT_EQ(1u, events(wire.substr(0, cut), again)) << "event cut at " << cut;
    EXPECT_EQ(1u, events(wire + wire.substr(0, cut), again)) << "second event cut at " << cut;
    EXPECT_EQ("", again);
  }
  for (std::size_t cut = 0; cut < every_criterion.size(); ++cut) {
    EXPECT_EQ(1u, filter(every_criterion.substr(0, cut), again)) << "filter cut at " << cut;
  }
  EXPECT_EQ(0u, filter(every_criterion, again));
  EXPECT_EQ(every_criterion, again);
  const std::size_t before_nodes = every_older.size() - nodes.size();  // without a list nothing is missing
  for (std::size_t cut = 0; cut < every_older.size(); ++cut) {
    EXPECT_EQ(cut < before_nodes    ? 1u
              : cut == before_nodes ? 0u
                                    : 71u,
              older(every_older.substr(0, cut), again))
        << cut;
  }
  EXPECT_EQ(0u, older(every_older, again));  // Sender, RefEventId, MsgFile and SnmpSrcIpxAddr do not travel
  EXPECT_EQ(bytes("007FFBED 80000001 00000403 00000004 0005 'comm' 00 0005 'type' 00 0005 'name' 00 00000009 0000000A "
                  "0000000C 0004 'opt' 00 00000003 'abc' 00 0000000F 00000008 0004 0004 '1.0' 00 0004 'pub' 00 "
                  "0006 '1.3.6' 00 0A000001 00000014 00000015 00000016 0004 'map' 00"),
            again);
  evmsg* const event = events_of(wire);
  EXPECT_EQ(every_older, encode_by<evmsg>(oxeEvmsgEncodeR21, event));
  oxeEvmsgFree(event);
}

TEST_F(BytesTest, LengthsAtTheLimitOfTheirWord) {
  evmsg* const event = oxeEvmsgAlloc();
  dnode* const node = oxdAlloc(1);
  const std::string long_text(65536, 't');
  const auto memo = [&](std::uint32_t size) { oxeEvmsgSetMemo(event, long_text.substr(0, size - 1).c_str()); };
  const auto list = [&](std::uint32_t size) {
    oxeEvmsgClrMemo(event);
    oxdSetBytes(node, OX_OCTETSTRING, long_text.data(), size - 8);
    oxeEvmsgSetDnodeList(event, node);
  };
  for (const std::function<void(std::uint32_t)>& set : {std::function<void(std::uint32_t)>(memo), {list}}) {
    set(65535);
    EXPECT_EQ(60u + 65535, encode_by<evmsg>(oxeEvmsgEncodeR21, event).size());
    set(65536);
    void* block = event;
    std::uint32_t length = 7;
    EXPECT_EQ(266u, oxeEvmsgEncodeR21(event, &block, &length));
    EXPECT_EQ(event, block);
    EXPECT_EQ(7u, length);
    evmsg* const decoded = events_of(encode(event));
    EXPECT_EQ(encode(event), encode(decoded));
    oxeEvmsgFree(decoded);
  }
  oxeEvmsgClrDnodeList(event);
  oxdFree(node);
  // The length wraps, and all the bytes are there.
  oxeEvmsgSetCommName(event, long_text.c_str());
  EXPECT_EQ(bytes("00000020 0001") + long_text + '\0', encode(event));
  oxeEvmsgSetCommName(event, long_text.c_str() + 1);
  EXPECT_EQ(std::string(46, '\0') + long_text.substr(1) + std::string(15, '\0'),
            encode_by<evmsg>(oxeEvmsgEncodeR21, event));
  oxeEvmsgFree(event);
}

TEST_F(BytesTest, EveryAllocationMayFail) {
  const std::string wire = bytes(every_field_wire) + bytes(every_field_wire);
  const auto size = [](const std::string& text) { return static_cast<std::uint32_t>(text.size()); };
  const auto other = reinterpret_cast<std::uintptr_t>("other");
  dnode* const two_nodes = oxdAlloc(2);
  evmsg* list = nullptr;
  evmsg* event = nullptr;
  evflt* made = nullptr;
  void* blocks[3] = {};
  std::uint32_t length = 0;
  const std::function<OX_RESULT()> steps[] = {
      [&] { return oxeEvmsgDecode(wire.data(), size(wire), &list); },
      [&] { return oxeEvmsgDecodeR21(every_older.data(), size(every_older), &event); },
      [&] { return oxeEvfltDecode(every_criterion.data(), size(every_criterion), &made); },
      [&] { return oxeEvmsgEncode(list, &blocks[0], &length, 0); },
      [&] { return oxeEvmsgEncodeR21(event, &blocks[1], &length); },
      [&] { return oxeEvfltEncode(made, &blocks[2], &length); },
      [&] { return oxeEvfltSet(made, OX_EVFLT_MEMO, other); },
      [&] { return oxeEvmsgSetDnodeList(event, two_nodes); },
      [&] { return oxeEvmsgSetMemo(event, "new"); },
  };
  every_allocation_may_fail([&] {
    OX_RESULT result = 0;
    for (const auto& step : steps) {
      if (result == 0) result = step();
    }
    const char* memo = nullptr;  // keeps what it has when the new value cannot be had
    if (event != nullptr && oxeEvmsgGetMemo(event, &memo) == 0) {
      EXPECT_STREQ(result == 0 ? "new" : "abc", memo);
    }
    for (void*& block : blocks) oxcMemFree(std::exchange(block, nullptr));
    oxeEvmsgFree(std::exchange(list, nullptr));
    oxeEvmsgFree(std::exchange(event, nullptr));
    oxeEvfltFree(std::exchange(made, nullptr));
    return result;
  });
  oxdFree(two_nodes);
}

}  // namespace
}  // namespace ox::test
