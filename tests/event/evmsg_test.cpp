// The event record: its fields, lists of events, and foreign texts.
#include "event/evmsg.h"

#include <oxbase/oxf.h>

#include "tests/event/event_text.h"
#include "tests/support/code_page.h"
#include "tests/support/system_root.h"
#include "tests/support/texts.h"

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

// Texts in either code page on their way through definition files, trap texts, events and filters.
class ForeignTexts : public InBothPages<> {
 protected:
  static void for_each(void (*check)(const std::string& text)) {
    for (const ForeignText& one : texts_in_page()) {
      SCOPED_TRACE(one.text);
      check(in_page(one.text));
    }
  }
};
OX_IN_BOTH_PAGES(ForeignTexts);

TEST_P(ForeignTexts, DefinitionFilesKeepThem) {
  for_each([](const std::string& text) {
    const std::string path = work_dir() + "/a.def";
    write_file(path, text + ":\t\"" + text + "\" '" + text + " x'\tend\n");
    ASSERT_EQ(0u, oxcSetConfigEntry(path.c_str()));
    oxcConfigEntry entry;
    ASSERT_EQ(0u, oxcGetConfigEntry(nullptr, text.c_str(), nullptr, &entry));
    std::vector<std::string> values(entry.values, entry.values + entry.count);
    EXPECT_EQ((std::vector<std::string>{text, text + " x", "end"}), values);
    for (std::uint32_t i = 0; i < entry.count; ++i) oxcMemFree(entry.values[i]);
    (void)oxcEndConfigEntry();
  });
}

TEST_P(ForeignTexts, TrapTextsKeepThem) {
  set_environment("LC_ALL", "ja_JP.UTF-8");  // nothing is converted: what a trap says is stored for good
  for_each([](const std::string& text) {
    const std::string path = work_dir() + "/b.def";
    write_file(path, "Enterprise 1.3\nSummary " + text + "\nDetail \"" + text + " *%1*\"\n");
    oxcTrConf* const list = oxcTrAllocConf();
    EXPECT_EQ(0u, oxcTrMakeConfList(list, path.c_str()));
    dnode* const binding = oxdAlloc(1);
    oxdSetText(binding, text.c_str());
    char* detail = nullptr;
    ASSERT_EQ(0u, oxcTrReMakeDetail(oxcTrFirstTag(list), binding, &detail));
    EXPECT_EQ(text, oxcTrFirstTag(list)->summary);
    EXPECT_EQ(2, count_of(detail, text)) << detail;
    oxcMemFree(detail);
    oxdFree(binding);
    oxcTrFreeConf(list);
  });
}

TEST_P(ForeignTexts, EventsCarryThemAndFiltersFindThem) {
  for_each([](const std::string& text) {
    evmsg* const event = oxeEvmsgAlloc();
    oxeEvmsgSetOptMsg(event, text.c_str());
    oxeEvmsgSetMemo(event, ("a" + text + "b").c_str());
    evmsg* const read = events_of(encode(event));
    const char* summary = nullptr;
    EXPECT_EQ(0u, oxeEvmsgGetOptMsg(read, &summary));
    EXPECT_EQ(text, summary);
    for (const auto& [pattern, passes] : {std::pair{"*" + text + "*", 1u}, {"*|*", 0u}, {"*\\*", 0u}}) {
      evflt* const filter = oxeEvfltAlloc();
      EXPECT_EQ(0u, oxeEvfltSetPattern(filter, OX_EVFLT_MEMO, pattern.c_str()));
      EXPECT_EQ(passes, oxeEvfltMatch(read, filter)) << pattern;
      oxeEvfltFree(filter);
    }
    oxeEvmsgFree(read);
    oxeEvmsgFree(event);
  });
}

}  // namespace
}  // namespace ox::test
