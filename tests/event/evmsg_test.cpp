// The event record: its fields, and its bytes in both encodings.
#include "event/evmsg.h"

#include "tests/event/event_text.h"
#include "tests/support/fault_heap.h"

namespace ox::test {
namespace {

using EvmsgTest = EventTest;

evmsg* untouched() {
  static char place;
  return reinterpret_cast<evmsg*>(&place);
}

const std::string node_bytes = bytes("0004 0004 '1.0' 00");  // a list of one node that has nothing but a path

void fill_every_field(evmsg* e) {
  dnode* const node = oxdAlloc(1);
  oxdSetAmibName(node, "1.0");
  oxeEvmsgSetSnmpSrcIpxAddr(e, "0123456789");
  oxeEvmsgSetMapName(e, "map");
  oxeEvmsgSetSnmpTimeStamp(e, 22);
  oxeEvmsgSetSnmpSpecTrap(e, 21);
  oxeEvmsgSetSnmpGenTrap(e, 20);
  oxeEvmsgSetSnmpAgentAddr(e, 0x0A000001);
  oxeEvmsgSetSnmpEnterprises(e, "1.3.6");
  oxeEvmsgSetSnmpCommName(e, "pub");
  oxeEvmsgSetDnodeList(e, node);
  oxeEvmsgSetFlag(e, 15);
  oxeEvmsgSetMemo(e, "abc");
  oxeEvmsgSetOptMsg(e, "opt");
  oxeEvmsgSetMsgNumber(e, 12);
  oxeEvmsgSetMsgFile(e, "file");
  oxeEvmsgSetRecoverTime(e, 10);
  oxeEvmsgSetOccurTime(e, 9);
  oxeEvmsgSetCompName(e, "name");
  oxeEvmsgSetCompType(e, "type");
  oxeEvmsgSetCommName(e, "comm");
  oxeEvmsgSetRefEventId(e, 5);
  oxeEvmsgSetEventId(e, 4);
  oxeEvmsgSetEventType(e, 0x403);
  oxeEvmsgSetSender(e, "abc");
  oxeEvmsgSetSndId(e, 0x80000001);
  oxdFree(node);
}

constexpr const char* every_field_wire =
    "00FFFFFF 80000001 0004 'abc' 00 00000403 00000004 00000005 0005 'comm' 00 0005 'type' 00 0005 'name' 00 "
    "00000009 0000000A 0005 'file' 00 0000000C 0004 'opt' 00 00000003 'abc' 00 0000000F 00000008 0004 0004 '1.0' 00 "
    "0004 'pub' 00 0006 '1.3.6' 00 0A000001 00000014 00000015 00000016 0004 'map' 00 '0123456789'";

constexpr const char* every_field_r21 =
    "00000004 80000001 00000009 0000000A 00000403 0000000C 0000000F 0A000001 00000014 00000015 00000016 "
    "0005 'comm' 00 0004 'map' 00 0005 'type' 00 0005 'name' 00 0004 'opt' 00 0004 'abc' 00 0004 'pub' 00 "
    "0006 '1.3.6' 00 0004 0004 '1.0' 00";

TEST_F(EvmsgTest, BytesAreFixedBothWaysAndEveryCutIsRefused) {
  const struct {
    const char* what;
    void (*fill)(evmsg*);
    const char* wire;
  } cases[] = {
      {"no fields", [](evmsg*) {}, "00000000"},
      {"a text counts its terminator", [](evmsg* e) { oxeEvmsgSetSender(e, "abc"); }, "00000002 0004 'abc' 00"},
      {"a memo does not", [](evmsg* e) { oxeEvmsgSetMemo(e, "abc"); }, "00002000 00000003 'abc' 00"},
      {"a number of 0 is there", [](evmsg* e) { oxeEvmsgSetSnmpGenTrap(e, 0); }, "00080000 00000000"},
      {"all fields", fill_every_field, every_field_wire},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string wire = bytes(c.wire);
    evmsg* event = oxeEvmsgAlloc();
    c.fill(event);
    EXPECT_EQ(wire, encode(event));
    oxeEvmsgFree(event);
    event = nullptr;
    ASSERT_EQ(0u, decode(wire, &event));
    EXPECT_EQ(wire, encode(event));
    oxeEvmsgFree(event);
    for (std::size_t cut = 1; cut < wire.size(); ++cut) {
      evmsg* list = nullptr;
      EXPECT_EQ(1u, decode(wire.substr(0, cut), &list)) << "cut at " << cut;
      EXPECT_EQ(1u, decode(wire + wire.substr(0, cut), &list)) << "second event cut at " << cut;
      EXPECT_EQ(nullptr, list);
    }
  }
}

TEST_F(EvmsgTest, WhatAPeerMaySend) {
  const struct {
    const char* what;
    const char* wire;
    OX_RESULT result;
    const char* again;  // the list, encoded anew
  } rows[] = {
      {"bits without a field", "FF000001 00000007", 0, "00000001 00000007"},
      {"a text of length 0 is absent", "00000006 0000 00000007", 0, "00000004 00000007"},
      {"an empty text is absent", "00000006 0001 00 00000007", 0, "00000004 00000007"},
      {"an empty memo is absent", "00002000 00000000 00", 0, "00000000"},
      {"an empty list is absent", "00008000 00000000", 0, "00000000"},
      {"a text that ends too early", "00000002 0004 'a' 00 'c' 00", 1, ""},
      {"a text without an end", "00000002 0003 'abc'", 1, ""},
      {"a memo that ends too early", "00002000 00000003 'a' 00 'c' 00", 1, ""},
      {"a memo without an end", "00002000 00000003 'abcd'", 1, ""},
      {"a memo of all lengths", "00002000 FFFFFFFF 00", 1, ""},
      {"a list of all lengths", "00008000 FFFFFFFF 00", 1, ""},
      {"a broken list", "00008000 00000003 0004 00", 71, ""},
      {"a broken event behind a good one", "00000001 00000007 00000001 00", 1, ""},
      {"nothing", "", 0, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    evmsg* list = events_of({9});
    const std::string before = encode(list);
    EXPECT_EQ(row.result, decode(bytes(row.wire), &list));  // appends, or leaves the list as it was
    EXPECT_EQ(before + bytes(row.again), encode(list));
    oxeEvmsgFree(list);
  }
  EXPECT_EQ(1u, oxeEvmsgDecode("", 0, nullptr));
  EXPECT_EQ(1u, oxeEvmsgEncode(nullptr, nullptr, nullptr, 0));
}

TEST_F(EvmsgTest, ListsAreConcatenated) {
  evmsg* const list = events_of({1, 2, 3});
  EXPECT_EQ(bytes("00000001 00000001"), encode(list, 1));
  EXPECT_EQ(bytes("00000001 00000002 00000001 00000003"), encode(oxeEvmsgNext(list)));
  evmsg* decoded = nullptr;
  ASSERT_EQ(0u, decode(encode(list), &decoded));
  EXPECT_EQ((std::vector<std::uint32_t>{1, 2, 3}), ids(decoded));
  oxeEvmsgFree(oxeEvmsgNext(decoded));  // those before stay a list
  EXPECT_EQ((std::vector<std::uint32_t>{1}), ids(decoded));
  EXPECT_EQ(decoded, oxeEvmsgPrev(decoded));
  oxeEvmsgFree(decoded);

  void* block = untouched();
  std::uint32_t length = 7;
  EXPECT_EQ(0u, oxeEvmsgEncode(nullptr, &block, &length, 0));
  EXPECT_EQ(nullptr, block);
  EXPECT_EQ(0u, length);
  oxeEvmsgFree(list);
}

// What is there is got and cleared, once.
template <class Out>
void get_and_clear(OX_RESULT(OX_CALL* get)(const evmsg*, Out*), OX_RESULT(OX_CALL* clr)(evmsg*), evmsg* e) {
  alignas(void*) char room[16];
  Out* const out = static_cast<Out*>(static_cast<void*>(room));
  const OX_RESULT results[] = {get(e, out),       clr(e),      clr(e), get(e, out), get(e, nullptr),
                               get(nullptr, out), clr(nullptr)};
  EXPECT_EQ((std::vector<OX_RESULT>{0, 0, 0, 256, 1, 1, 1}), std::vector(std::begin(results), std::end(results)));
}

TEST_F(EvmsgTest, AccessorsOfEveryField) {
  evmsg* const e = oxeEvmsgAlloc();
  fill_every_field(e);
#define X(kind, Stem, member, bit)                        \
  EXPECT_EQ(1u, oxeEvmsgSet##Stem(nullptr, {})) << #Stem; \
  get_and_clear(oxeEvmsgGet##Stem, oxeEvmsgClr##Stem, e);
  OX_EVMSG_FIELDS(X)
#undef X
  EXPECT_EQ(bytes("00000000"), encode(e));
  const char* text = nullptr;
  dnode* list = oxdAlloc(2);
  oxdSetDnodeId(oxdNext(list), 5);
  oxeEvmsgSetMemo(e, "first");
  oxeEvmsgGetMemo(e, &text);
  EXPECT_EQ(0u, oxeEvmsgSetMemo(e, text + 2));  // its own
  oxeEvmsgSetDnodeList(e, list);
  oxdFree(list);
  oxeEvmsgGetDnodeList(e, &list);
  EXPECT_EQ(0u, oxeEvmsgSetDnodeList(e, oxdNext(list)));
  const std::string wire = bytes("0000A000 00000003 'rst' 00 00000006 0200 00000005");
  EXPECT_EQ(wire, encode(e));
  EXPECT_EQ(0u, oxeEvmsgSetMemo(e, "") + oxeEvmsgSetMemo(e, nullptr) + oxeEvmsgSetDnodeList(e, nullptr) +
                    oxeEvmsgSetSnmpSrcIpxAddr(e, nullptr) + oxeEvmsgSetSender(e, ""));
  EXPECT_EQ(wire, encode(e));
  oxeEvmsgFree(e);
}

TEST_F(EvmsgTest, DecodedTextsAreReplacedAndClearedLikeOthers) {
  evmsg* event = nullptr;
  ASSERT_EQ(0u, decode(bytes(every_field_wire), &event));
  EXPECT_EQ(0u, oxeEvmsgSetSender(event, "abc"));
  EXPECT_EQ(0u, oxeEvmsgSetMemo(event, "a longer memo than before"));
  EXPECT_EQ(0u, oxeEvmsgSetMemo(event, "abc"));
  EXPECT_EQ(bytes(every_field_wire), encode(event));
  EXPECT_EQ(0u, oxeEvmsgClrMapName(event));
  EXPECT_EQ(0u, oxeEvmsgSetMapName(event, "map"));
  EXPECT_EQ(bytes(every_field_wire), encode(event));
  oxeEvmsgFree(event);
}

TEST_F(EvmsgTest, TimesAreComparedAsUnsignedNumbers) {
  const struct {
    std::uint32_t a, b;  // 0: absent
    int order;
  } rows[] = {{0, 5, -5}, {5, 0, 5}, {7, 7, 0}, {0xFFFFFFFF, 1, -2}, {0x80000000, 0, INT32_MIN}};
  for (const auto& row : rows) {
    evmsg* const pair[] = {oxeEvmsgAlloc(), oxeEvmsgAlloc()};
    if (row.a != 0) oxeEvmsgSetOccurTime(pair[0], row.a);
    if (row.b != 0) oxeEvmsgSetOccurTime(pair[1], row.b);
    EXPECT_EQ(row.order, oxeEvmsgTimeCmp(&pair[0], &pair[1])) << row.a << ' ' << row.b;
    for (evmsg* const event : pair) oxeEvmsgFree(event);
  }
}

std::string encode_r21(const evmsg* event) {
  void* block = nullptr;
  std::uint32_t length = 0;
  EXPECT_EQ(0u, oxeEvmsgEncodeR21(event, &block, &length));
  return take_block(block, length);
}

OX_RESULT decode_r21(std::string_view wire, evmsg** event) {
  const std::vector<char> exact(wire.begin(), wire.end());
  return oxeEvmsgDecodeR21(exact.data(), static_cast<std::uint32_t>(exact.size()), event);
}

TEST_F(EvmsgTest, TheOlderEncoding) {
  evmsg* event = oxeEvmsgAlloc();
  EXPECT_EQ(std::string(60, '\0'), encode_r21(event));
  fill_every_field(event);
  const std::string wire = bytes(every_field_r21);
  EXPECT_EQ(wire, encode_r21(event));
  oxeEvmsgFree(event);

  const std::size_t before_list = wire.size() - node_bytes.size();
  for (std::size_t cut = 0; cut < wire.size(); ++cut) {
    event = untouched();
    const OX_RESULT result = decode_r21(wire.substr(0, cut), &event);
    EXPECT_EQ(cut == before_list ? 0u : cut < before_list ? 1u : 71u, result) << "cut at " << cut;
    if (cut == before_list) {
      oxeEvmsgFree(event);
    } else {
      EXPECT_EQ(untouched(), event);
    }
  }
  // Without Sender, RefEventId, MsgFile and SnmpSrcIpxAddr, which do not travel.
  ASSERT_EQ(0u, decode_r21(wire, &event));
  EXPECT_EQ(bytes("007FFBED"), encode(event).substr(0, 4));
  EXPECT_EQ(wire, encode_r21(event));
  oxeEvmsgFree(event);
}

TEST_F(EvmsgTest, TheOlderDecoderDropsWhatCannotBeTold) {
  const std::string numbers = "00000004 80000001 00000009 0000000A ";
  const std::string texts = "0000 0000 0000 0000 0000 0000 0004 'pub' 00 0006 '1.3.6' 00";
  const struct {
    const char* what;
    std::string wire;
    OX_RESULT result;
    const char* mask;
  } rows[] = {
      {"not a trap", numbers + "00000303 0000000C 0000000F 0A000001 00000014 00000015 00000016" + texts, 0,
       "0000 4B0D"},
      {"a trap", numbers + "00000400 0000000C 0000000F 0A000001 00000014 00000015 00000016" + texts, 0, "003F 4B0D"},
      {"zeros", numbers + "00000400 00000000 00000000 0A000001 00000000 00000015 00000000" + texts, 0, "0017 030D"},
      {"a text that ends too early", std::string(88, '0') + "0004 'a' 00 'c' 00" + std::string(28, '0'), 1, ""},
      {"a text without an end", std::string(88, '0') + "0001 'a'" + std::string(28, '0'), 1, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    evmsg* event = nullptr;
    ASSERT_EQ(row.result, decode_r21(bytes(row.wire), &event));
    if (event != nullptr) {
      EXPECT_EQ(bytes(row.mask), encode(event).substr(0, 4));
    }
    oxeEvmsgFree(event);
  }
}

TEST_F(EvmsgTest, LengthsAtTheLimitOfTheirWord) {
  evmsg* const event = oxeEvmsgAlloc();
  void* block = untouched();
  std::uint32_t length = 7;
  oxeEvmsgSetMemo(event, std::string(65534, 'm').c_str());
  EXPECT_EQ(60u + 65535, encode_r21(event).size());
  oxeEvmsgSetMemo(event, std::string(65535, 'm').c_str());
  EXPECT_EQ(266u, oxeEvmsgEncodeR21(event, &block, &length));
  EXPECT_EQ(4u + 4 + 65536, encode(event).size());
  evmsg* decoded = nullptr;
  ASSERT_EQ(0u, decode(encode(event), &decoded));
  EXPECT_EQ(encode(event), encode(decoded));
  oxeEvmsgFree(decoded);
  oxeEvmsgClrMemo(event);

  dnode* const node = oxdAlloc(1);
  const std::string value(65528, 'v');
  oxdSetValue(node, OX_OCTETSTRING, reinterpret_cast<std::uintptr_t>(value.data()), 65527);
  oxeEvmsgSetDnodeList(event, node);
  EXPECT_EQ(60u + 65535, encode_r21(event).size());
  oxdSetValue(node, OX_OCTETSTRING, reinterpret_cast<std::uintptr_t>(value.data()), 65528);
  oxeEvmsgSetDnodeList(event, node);
  EXPECT_EQ(266u, oxeEvmsgEncodeR21(event, &block, &length));
  EXPECT_EQ(untouched(), block);
  EXPECT_EQ(7u, length);
  oxeEvmsgClrDnodeList(event);
  oxdFree(node);

  // The length wraps, and all the bytes are there.
  oxeEvmsgSetSender(event, std::string(65536, 's').c_str());
  EXPECT_EQ(bytes("00000002 0001") + std::string(65536, 's') + '\0', encode(event));
  oxeEvmsgSetCommName(event, std::string(65535, 'c').c_str());
  EXPECT_EQ(std::string(46, '\0') + std::string(65535, 'c') + std::string(15, '\0'), encode_r21(event));
  oxeEvmsgFree(event);
}

TEST_F(EvmsgTest, EveryAllocationMayFail) {
  const std::string wire = bytes(every_field_wire) + bytes(every_field_wire);
  const std::string r21 = bytes(every_field_r21);
  evmsg* list = nullptr;
  ASSERT_EQ(0u, decode(wire, &list));
  void* block = nullptr;
  std::uint32_t length = 0;
  const auto free_block = [&](OX_RESULT result) { return oxcMemFree(std::exchange(block, nullptr)), result; };
  every_allocation_may_fail([&] { return free_block(oxeEvmsgEncode(list, &block, &length, 0)); });
  every_allocation_may_fail([&] { return free_block(oxeEvmsgEncodeR21(list, &block, &length)); });
  const auto free_event = [](OX_RESULT result, evmsg* const& event) { return oxeEvmsgFree(event), result; };
  every_allocation_may_fail([&] {
    evmsg* decoded = nullptr;
    return free_event(oxeEvmsgDecode(wire.data(), static_cast<std::uint32_t>(wire.size()), &decoded), decoded);
  });
  every_allocation_may_fail([&] {
    evmsg* decoded = nullptr;
    return free_event(oxeEvmsgDecodeR21(r21.data(), static_cast<std::uint32_t>(r21.size()), &decoded), decoded);
  });
  // A field keeps what it has when its new value cannot be had.
  dnode* const nodes = oxdAlloc(2);
  every_allocation_may_fail([&] {
    evmsg* const event = oxeEvmsgAlloc();
    if (event == nullptr) return OX_RESULT{OX_ENOMEM};
    OX_RESULT result = oxeEvmsgSetMemo(event, "old");
    if (result == 0 && (result = oxeEvmsgSetMemo(event, "new")) != 0) {
      EXPECT_EQ(bytes("00002000 00000003 'old' 00"), encode(event));
      return free_event(result, event);
    }
    if (result == 0) result = oxeEvmsgSetDnodeList(event, nodes);
    return free_event(result, event);
  });
  oxdFree(nodes);
  oxeEvmsgFree(list);
}

}  // namespace
}  // namespace ox::test
