// Requests: the bytes that leave, and what becomes of the answer.
#include "access/request.h"

#include <string>
#include <vector>

#include <oxbase/oxc.h>

#include "tests/support/byte_text.h"
#include "tests/support/fault_heap.h"
#include "tests/support/session_fixture.h"

namespace ox::test {
namespace {

using RequestTest = SessionTest;

dnode* untouched() {
  static char place;
  return reinterpret_cast<dnode*>(&place);
}

dnode* node_of(const char* path) {
  dnode* node = oxdAlloc(1);
  EXPECT_EQ(0u, oxdSetAmibName(node, path));
  return node;
}

const std::string one_node = bytes("0004 0009 '11.1.1.0' 00");  // a list of one node that has nothing but a path

TEST_F(RequestTest, EveryRequestsBytes) {
  const oxaSelection selection = {{1, 2, 3, 4, 0xFFFFFFFF}};
  dnode* const list = node_of("11.1.1.0");
  dnode* answer = nullptr;
  std::uint32_t number = 0;
  // Header: length, marker, data part's length, version, type, command, error, two zeros, source, destination, no
  // source name, destination name, reference. Data part: marker and payload.
  const struct {
    const char* what;
    std::function<OX_RESULT()> call;
    const char* wire;
  } cases[] = {
      {"get", [&] { return oxaGet(nullptr, "map:top", "11.1.1.0", nullptr, 31, 20, &answer); },
       "00000031 000B 'pipeHeader' 00 00000028 0002 0001 0001 0000 0000 0000 00000000 00000000 0000 0000 00000000"
       "'pipeData' 00 0008 'map:top' 00 0009 '11.1.1.0' 00 0000001F 00000014 0000"},
      {"get with a selection", [&] { return oxaGet("mgr", "", "11.15", &selection, 0, 0, nullptr); },
       "00000035 000B 'pipeHeader' 00 00000032 0002 0001 0001 0000 0000 0000 00000000 00000000 0000 0004 'mgr' 00 "
       "00000000 'pipeData' 00 0001 00 0006 '11.15' 00 00000000 00000000 0001 "
       "00000001 00000002 00000003 00000004 FFFFFFFF"},
      {"set", [&] { return oxaSet("mgr", 0, 30, list, &answer); },
       "00000035 000B 'pipeHeader' 00 00000020 0002 0001 0004 0000 0000 0000 00000000 00000000 0000 0004 'mgr' 00 "
       "00000000 'pipeData' 00 00000000 0000001E 000D 0004 0009 '11.1.1.0' 00"},
      {"set of an empty list", [&] { return oxaSet(nullptr, 1, 2, nullptr, nullptr); },
       "00000031 000B 'pipeHeader' 00 00000013 0002 0001 0004 0000 0000 0000 00000000 00000000 0000 0000 00000000 "
       "'pipeData' 00 00000001 00000002 0000"},
      {"management", [&] { return oxaMgmtControl("", 41, list, &answer); },
       "00000032 000B 'pipeHeader' 00 00000016 0002 0001 0008 0029 0000 0000 00000000 00000000 0000 0001 00 00000000 "
       "'pipeData' 00 0004 0009 '11.1.1.0' 00"},
      {"management of an empty list has no data part", [&] { return oxaMgmtControl(nullptr, 5, nullptr, nullptr); },
       "00000031 000B 'pipeHeader' 00 00000000 0002 0001 0008 0005 0000 0000 00000000 00000000 0000 0000 00000000"},
      {"lock", [&] { return oxaCompLock("mgr", "map:top", 3, &number); },
       "00000035 000B 'pipeHeader' 00 00000017 0002 0001 000E 0000 0000 0000 00000000 00000000 0000 0004 'mgr' 00 "
       "00000000 'pipeData' 00 0008 'map:top' 00 00000003"},
      {"unlock", [&] { return oxaCompUnlock(0x11223344); },
       "00000031 000B 'pipeHeader' 00 00000000 0002 0004 000E 0000 0000 0000 00000000 11223344 0000 0000 00000000"},
      {"unlock at a manager", [&] { return oxaCompUnlock2(0x11223344, "mgr"); },
       "00000035 000B 'pipeHeader' 00 00000000 0002 0004 000E 0000 0000 0000 00000000 11223344 0000 0004 'mgr' 00 "
       "00000000"},
      {"append", [&] { return oxaDataAppend(nullptr, 7, 8, "a", "", list); },
       "00000031 000B 'pipeHeader' 00 00000029 0002 0001 0015 0000 0000 0000 00000000 00000000 0000 0000 00000000 "
       "'pipeData' 00 00000007 00000008 0002 'a' 00 0001 00 0000000D 0004 0009 '11.1.1.0' 00"},
      {"size", [&] { return oxaDataGetSize(nullptr, "a", "bc", &number); },
       "00000031 000B 'pipeHeader' 00 00000012 0002 0001 0016 0000 0000 0000 00000000 00000000 0000 0000 00000000 "
       "'pipeData' 00 0002 'a' 00 0003 'bc' 00"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    peer.answer(reply_bytes({.error = 84}));
    EXPECT_EQ(84u, c.call());
    EXPECT_EQ(std::vector<std::string>{bytes(c.wire)}, peer.requests());
  }
  oxdFree(list);
}

TEST_F(RequestTest, LongRequestsArriveWhole) {
  for (const std::size_t size : {4000u, 4018u, 4019u, 8100u, 8200u, 65534u}) {
    const std::string component(size, 'c');
    peer.answer(reply_bytes({.error = 122}));
    ASSERT_EQ(122u, oxaGet(nullptr, component.c_str(), "11", nullptr, 0, 0, nullptr));
    const std::vector<std::string> requests = peer.requests();
    ASSERT_EQ(1u, requests.size());
    EXPECT_EQ(49 + 9 + size + 3 + 5 + 10, requests[0].size());
    EXPECT_EQ(component, requests[0].substr(60, size));
  }
}

TEST_F(RequestTest, ArgumentsAreCheckedBeforeAnythingLeaves) {
  const std::string too_long(65535, 'x');
  dnode* const timed = node_of("11.1.1.0");
  oxdSetReqTime(timed, 5);
  dnode* const zero_time = node_of("11.1.1.0");
  oxdSetReqTime(zero_time, 0);
  dnode* const large = oxdAlloc(1);
  const std::string value(65528, 'v');  // 8 bytes before it: 65536 in all
  oxdSetBytes(large, OX_OCTETSTRING, value.data(), 65528);
  peer.otherwise(reply_bytes({}));  // what leaves by mistake is answered and seen below
  int unknown = 0;
  std::uint32_t number = 77;
  dnode* list = untouched();
  EXPECT_EQ(70u, oxaGet(nullptr, nullptr, "11", nullptr, 0, 0, &list));
  EXPECT_EQ(70u, oxaGet(nullptr, "map:top", nullptr, nullptr, 0, 0, &list));
  EXPECT_EQ(266u, oxaGet(too_long.c_str(), "map:top", "11", nullptr, 0, 0, &list));
  EXPECT_EQ(266u, oxaGet(nullptr, too_long.c_str(), "11", nullptr, 0, 0, &list));
  EXPECT_EQ(untouched(), list);
  EXPECT_EQ(109u, oxaSet(nullptr, 0, 0, timed, nullptr));
  EXPECT_EQ(266u, oxaSet(nullptr, 0, 0, large, &list));
  EXPECT_EQ(nullptr, list);
  EXPECT_EQ(1u, oxaMgmtControl(nullptr, 0x10000, nullptr, nullptr));
  EXPECT_EQ(70u, oxaCompLock(nullptr, nullptr, 0, &number));
  EXPECT_EQ(1u, oxaCompLock(nullptr, "map:top", 0, nullptr));
  EXPECT_EQ(70u, oxaDataAppend(nullptr, 0, 0, nullptr, "", nullptr));
  EXPECT_EQ(70u, oxaDataAppend(nullptr, 0, 0, "", nullptr, nullptr));
  EXPECT_EQ(70u, oxaDataGetSize(nullptr, "", nullptr, &number));
  EXPECT_EQ(1u, oxaDataGetSize(nullptr, "", "", nullptr));
  EXPECT_EQ(63u, oxaControl(&unknown, 1, nullptr, 0));
  EXPECT_EQ(63u, oxaClose(&unknown));
  EXPECT_EQ(77u, number);
  EXPECT_TRUE(peer.requests().empty());

  EXPECT_EQ(0u, oxaSet(nullptr, 0, 0, zero_time, nullptr));
  oxdSetBytes(large, OX_OCTETSTRING, value.data(), 65527);
  EXPECT_EQ(0u, oxaSet(nullptr, 0, 0, large, nullptr));
  for (dnode* node : {timed, zero_time, large}) oxdFree(node);
}

TEST_F(RequestTest, AnswersOfGet) {
  const auto live = oxcGetMemValue(1);
  const struct {
    const char* what;
    ReplyFields reply;
    OX_RESULT result;
    bool nodes;
  } cases[] = {
      {"nodes", {.data = one_node}, 0, true},
      {"nodes and 122", {.error = 122, .data = one_node}, 0, true},
      {"nodes and an error", {.error = 84, .data = one_node}, 121, true},
      {"nothing", {}, 122, false},
      {"an error without nodes", {.error = 84}, 84, false},
      {"broken nodes", {.error = 84, .data = one_node.substr(0, 9)}, 71, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    dnode* list = untouched();
    peer.answer(reply_bytes(c.reply));
    EXPECT_EQ(c.result, oxaGet(nullptr, "map:top", "11", nullptr, 0, 0, &list));
    if (c.nodes) {
      const char* name = "";
      EXPECT_EQ(0u, oxdGetAmibName(list, &name));
      EXPECT_STREQ("11.1.1.0", name);
      EXPECT_EQ(nullptr, oxdNext(list));
      oxdFree(list);
    } else {
      EXPECT_EQ(untouched(), list);
    }
    peer.answer(reply_bytes(c.reply));
    EXPECT_EQ(c.result, oxaGet(nullptr, "map:top", "11", nullptr, 0, 0, nullptr));
  }
  EXPECT_EQ(live, oxcGetMemValue(1));
}

TEST_F(RequestTest, AnswersOfTheOthers) {
  dnode* list = untouched();
  peer.answer(reply_bytes({.error = 121, .data = one_node}));
  EXPECT_EQ(121u, oxaSet(nullptr, 0, 0, nullptr, &list));
  ASSERT_NE(nullptr, list);
  oxdFree(list);
  peer.answer(reply_bytes({.error = 207, .data = bytes("0004 0009")}));
  EXPECT_EQ(71u, oxaMgmtControl(nullptr, 5, nullptr, &list));
  EXPECT_EQ(nullptr, list);
  peer.answer(reply_bytes({.error = 207, .data = bytes("0004 0009")}));
  EXPECT_EQ(207u, oxaMgmtControl(nullptr, 5, nullptr, nullptr));  // nobody asked for the nodes

  std::uint32_t number = 77;
  peer.answer(reply_bytes({.error = 5, .source_id = 9}));
  EXPECT_EQ(5u, oxaCompLock(nullptr, "map:top", 0, &number));
  peer.answer(reply_bytes({.data = bytes("000102")}));
  EXPECT_EQ(71u, oxaDataGetSize(nullptr, "", "", &number));
  EXPECT_EQ(77u, number);
  peer.answer(reply_bytes({.source_id = 0x80000009}));
  EXPECT_EQ(0u, oxaCompLock(nullptr, "map:top", 0, &number));
  EXPECT_EQ(0x80000009u, number);
  peer.answer(reply_bytes({.data = bytes("00010203 04")}));
  EXPECT_EQ(0u, oxaDataGetSize(nullptr, "", "", &number));
  EXPECT_EQ(0x00010203u, number);
}

TEST_F(RequestTest, RepliesInPieces) {
  const std::string reply = reply_bytes({.data = one_node});
  std::vector<std::string> single;
  for (const char byte : reply) single.emplace_back(1, byte);
  for (const std::vector<std::string>& pieces :
       {single, {reply.substr(0, 2), reply.substr(2)}, {reply.substr(0, 36), reply.substr(36)}}) {
    dnode* list = nullptr;
    peer.answer(Answer{.pieces = pieces});
    EXPECT_EQ(0u, oxaGet(nullptr, "map:top", "11", nullptr, 0, 0, &list));
    oxdFree(list);
  }
}

TEST_F(RequestTest, ALostOrBrokenConnectionEndsTheSessionOnce) {
  const std::string reply = reply_bytes({.data = one_node});
  const struct {
    const char* what;
    Answer answer;
    OX_RESULT result;
  } cases[] = {
      {"closed before the reply", {.close = true}, 17},
      {"closed in the length", {.pieces = {reply.substr(0, 3)}, .close = true}, 17},
      {"closed in the header", {.pieces = {reply.substr(0, 20)}, .close = true}, 17},
      {"closed in the data", {.pieces = {reply.substr(0, 40)}, .close = true}, 17},
      {"a length that cannot be", {.pieces = {bytes("0000000A") + reply}}, 71},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    peer.answer(c.answer);
    EXPECT_EQ(c.result, oxaGet(nullptr, "map:top", "11", nullptr, 0, 0, nullptr));
    EXPECT_EQ(14u, oxaGet(nullptr, "map:top", "11", nullptr, 0, 0, nullptr));
    EXPECT_EQ(14u, oxaSet(nullptr, 0, 0, nullptr, nullptr));
    EXPECT_EQ(14u, oxaCompUnlock(1));
    EXPECT_EQ(14u, oxaControl(nullptr, 0, nullptr, 0));
    EXPECT_EQ(14u, oxaClose(nullptr));
    session().close();
    ASSERT_EQ(0u, oxaInit(nullptr));
  }
}

TEST_F(RequestTest, EveryAllocationMayFail) {
  const std::string component(9000, 'c');
  dnode* const list = node_of("11.1.1.0");
  peer.otherwise(reply_bytes({.data = one_node, .source_name = "src", .destination_name = "dst"}));
  std::uint32_t number = 0;
  every_allocation_may_fail([&] {
    dnode* answer = nullptr;
    const OX_RESULT result = oxaGet("mgr", component.c_str(), "11", nullptr, 0, 0, &answer);
    oxdFree(answer);
    return result;
  });
  every_allocation_may_fail([&] {
    dnode* answer = nullptr;
    const OX_RESULT result = oxaSet("mgr", 0, 0, list, &answer);
    oxdFree(answer);
    return result;
  });
  every_allocation_may_fail([&] { return oxaDataAppend("mgr", 0, 0, "a", "b", list); });
  every_allocation_may_fail([&] { return oxaDataGetSize("mgr", "a", "b", &number); });
  oxdFree(list);
}

}  // namespace
}  // namespace ox::test
