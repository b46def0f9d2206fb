// The event record: its fields, and lists of events.
#include "event/evmsg.h"

#include "tests/event/event_text.h"

namespace ox::test {
namespace {

using EvmsgTest = EventTest;

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
  oxeEvmsgSetSnmpGenTrap(e, 0);
  EXPECT_EQ(bytes("00080000 00000000"), encode(e));
  fill_every_field(e);
  EXPECT_EQ(bytes(every_field_wire), encode(e));
#define X(kind, Stem, member, bit)                        \
  EXPECT_EQ(1u, oxeEvmsgSet##Stem(nullptr, {})) << #Stem; \
  get_and_clear(oxeEvmsgGet##Stem, oxeEvmsgClr##Stem, e);
  OX_EVMSG_FIELDS(X)
#undef X
  EXPECT_EQ(bytes("00000000"), encode(e));
  EXPECT_EQ(std::string(60, '\0'), encode_by<evmsg>(oxeEvmsgEncodeR21, e));
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

TEST_F(EvmsgTest, Lists) {
  evmsg* const list = events_of(event_bytes({1, 2, 3}));
  EXPECT_EQ(event_bytes({1}), encode_by<evmsg>(oxeEvmsgEncode, list, 1u));
  EXPECT_EQ(event_bytes({2, 3}), encode(oxeEvmsgNext(list)));
  oxeEvmsgFree(oxeEvmsgNext(list));  // those before stay a list
  EXPECT_EQ("1", ids(list));
  EXPECT_EQ(list, oxeEvmsgPrev(list));
  void* block = list;
  std::uint32_t length = 7;
  EXPECT_EQ(0u, oxeEvmsgEncode(nullptr, &block, &length, 0));
  EXPECT_EQ(nullptr, block);
  EXPECT_EQ(0u, length);
  EXPECT_EQ(1u, oxeEvmsgEncode(list, nullptr, nullptr, 0));
  // The times of two events are compared as unsigned numbers, absent ones as 0.
  for (const auto& [a, b, order] : {std::tuple{0u, 5u, -5}, {0xFFFFFFFF, 1u, -2}, {0x80000000, 0u, INT32_MIN}}) {
    evmsg* const other = oxeEvmsgAlloc();
    oxeEvmsgClrOccurTime(list);
    if (a != 0) oxeEvmsgSetOccurTime(list, a);
    if (b != 0) oxeEvmsgSetOccurTime(other, b);
    const evmsg* const pair[] = {list, other};
    EXPECT_EQ(order, oxeEvmsgTimeCmp(&pair[0], &pair[1])) << a << ' ' << b;
    oxeEvmsgFree(other);
  }
  oxeEvmsgFree(list);
}

}  // namespace
}  // namespace ox::test
