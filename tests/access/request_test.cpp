// Requests: the bytes that leave, and what becomes of the answer.
#include "access/request.h"

#include <oxbase/oxb.h>

#include "tests/access/report_peer.h"
#include "tests/support/fault_heap.h"
#include "tests/support/given.h"
#include "tests/support/traced.h"

namespace ox::test {
namespace {

using RequestTest = SessionTest;

dnode* const untouched = reinterpret_cast<dnode*>(0x10);

dnode* node_of(const char* path) {
  dnode* node = oxdAlloc(1);
  EXPECT_EQ(0u, oxdSetAmibName(node, path));
  return node;
}

const std::string one_node = bytes("0004 0009 '11.1.1.0' 00");  // a list of one node that has nothing but a path

OX_RESULT get(dnode** list = nullptr) { return oxaGet(nullptr, "map:top", "11.1.1.0", nullptr, 31, 20, list); }

TEST_F(RequestTest, BytesOfDataAndOfAnUnlock) {
  const std::string mgr("mgr\0", 4), no_name(1, '\0');  // which is not the same as none
  dnode* const list = node_of("11.1.1.0");
  std::uint32_t number = 0;
  peer.otherwise(reply_bytes({.error = 84}));
  EXPECT_EQ(84u, oxaDataAppend(nullptr, 7, 8, "a", "", list));
  EXPECT_EQ(84u, oxaDataGetSize("", "a", "bc", &number));
  EXPECT_EQ(84u, oxaCompUnlock2(0x11223344, "mgr"));
  const std::string appended = "00000007 00000008 0002 'a' 00 0001 00 0000000D 0004 0009 '11.1.1.0' 00";
  EXPECT_EQ((std::vector{request_bytes({.command = 21, .body = bytes(appended)}),
                         request_bytes({.command = 22, .session = no_name, .body = bytes("0002 'a' 00 0003 'bc' 00")}),
                         request_bytes({.type = 4, .command = 14, .session = mgr, .destination = 0x11223344})}),
            peer.requests());
  oxdFree(list);
}

// A value that can be set and never read, such as a community, and one whose attribute is not known; others are.
TEST_F(RequestTest, WhatIsSetInSecretIsNotTraced) {
  const std::string file = work_dir() + "/public/amib/secret.def";
  write_file(file, "secret cmn.7 DisplayString write-only CONF-ACS\n");
  ASSERT_EQ(0u, oxbAddAmibTree(file.c_str()));
  dnode* list = nullptr;
  for (const auto& [path, value] : {std::pair{"11.1.7.0", 'S'}, std::pair{"11.1.1.0", 'O'}, std::pair{"12.1.0", 'U'}}) {
    dnode* const node = node_of(path);
    EXPECT_EQ(0u, oxdSetText(node, std::string(40, value).c_str()));
    EXPECT_EQ(0u, oxcQueueAdd(&list, node));
  }
  const std::function<OX_RESULT()> requests[] = {
      [&] { return oxaSet(nullptr, 0, 0, list, nullptr); },
      [&] { return oxaMgmtControl(nullptr, 41, list, nullptr); },
  };
  for (const auto& request : requests) {
    peer.answer(reply_bytes({}));
    const std::string shown = traced(0x400, [&] { EXPECT_EQ(0u, request()); });
    EXPECT_EQ(shown.npos, shown.find("SSSS")) << shown;
    EXPECT_EQ(shown.npos, shown.find("UUUU")) << shown;
    EXPECT_NE(shown.npos, shown.find("OOOO")) << shown;
    EXPECT_NE(std::string::npos, peer.requests().at(0).find(std::string(40, 'S')));
  }
  oxdFree(list);
}

// Around the pieces in which the pipe is written and the buffer of small requests, and the longest texts.
TEST_F(RequestTest, LongRequestsArriveWhole) {
  for (const std::size_t size : {4015u, 4016u, 4017u, 8112u, 8113u, 65534u}) {
    const std::string component(size, 'c');
    const std::string manager(size > 8113 ? size : 3, 'm');
    peer.answer(reply_bytes({.error = 122}));
    ASSERT_EQ(122u, oxaGet(manager.c_str(), component.c_str(), "11", nullptr, 0, 0, nullptr));
    const std::string body = text(component) + text("11") + std::string(10, '\0');
    EXPECT_EQ(request_bytes({.command = 1, .session = manager + '\0', .body = body}), peer.requests().at(0));
  }
}

TEST_F(RequestTest, ArgumentsAreCheckedBeforeAnythingLeaves) {
  const std::string too_long(65535, 'x');
  dnode* const timed = node_of("11.1.1.0");
  oxdSetReqTime(timed, 5);
  dnode* const large = oxdAlloc(1);
  const std::string value(65528, 'v');  // 8 bytes before it: 65536 in all
  oxdSetBytes(large, OX_OCTETSTRING, value.data(), 65528);
  peer.otherwise(reply_bytes({}));  // what leaves by mistake is answered and seen below
  int unknown = 0;
  std::uint32_t number = 77;
  dnode* list = untouched;
  EXPECT_EQ(70u, oxaGet(nullptr, nullptr, "11", nullptr, 0, 0, &list));
  EXPECT_EQ(70u, oxaGet(nullptr, "map:top", nullptr, nullptr, 0, 0, &list));
  EXPECT_EQ(266u, oxaGet(too_long.c_str(), "map:top", "11", nullptr, 0, 0, &list));
  EXPECT_EQ(266u, oxaGet(nullptr, too_long.c_str(), "11", nullptr, 0, 0, &list));
  EXPECT_EQ(untouched, list);
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

  oxdSetReqTime(timed, 0);
  oxdSetBytes(large, OX_OCTETSTRING, value.data(), 65527);
  for (dnode* const good : {timed, large}) {
    EXPECT_EQ(0u, oxaSet(nullptr, 0, 0, good, nullptr));
    oxdFree(good);
  }
}

TEST_F(RequestTest, AnswersWithoutNodes) {
  dnode* list = untouched;
  peer.answer(reply_bytes({}));
  EXPECT_EQ(122u, get(&list));
  EXPECT_EQ(untouched, list);
  const auto answered = [&](auto call, const ReplyFields& reply) {
    peer.answer(reply_bytes(reply));
    return given<std::uint32_t>(call);
  };
  const auto lock = [](std::uint32_t* id) { return oxaCompLock(nullptr, "map:top", 0, id); };
  const auto size = [](std::uint32_t* count) { return oxaDataGetSize(nullptr, "", "", count); };
  EXPECT_EQ("!5", answered(lock, {.error = 5, .source_id = 9}));
  EXPECT_EQ("!71", answered(size, {.data = bytes("000102")}));
  EXPECT_EQ("!122", answered(size, {.error = 122, .data = bytes("00010203")}));
  EXPECT_EQ(std::to_string(0x80000009), answered(lock, {.source_id = 0x80000009}));
  EXPECT_EQ(std::to_string(0x00010203), answered(size, {.data = bytes("00010203 04")}));
}

TEST_F(RequestTest, ALostOrBrokenConnectionEndsTheSession) {
  const std::string reply = reply_bytes({.data = one_node});
  const std::tuple<const char*, Answer, OX_RESULT> cases[] = {
      {"in two pieces", {.pieces = {reply.substr(0, 36), reply.substr(36)}}, 0},
      {"closed before the reply", {.close = true}, 17},
      {"closed in the data", {.pieces = {reply.substr(0, 40)}, .close = true}, 17},
      {"a length that cannot be", {.pieces = {bytes("0000000A") + reply}}, 71}};
  for (const auto& [what, answer, result] : cases) {
    SCOPED_TRACE(what);
    peer.answer(answer);
    EXPECT_EQ(result, get());
    if (result == 0) continue;
    EXPECT_EQ(14u, get());
    EXPECT_EQ(14u, oxaCompUnlock(1));
    open_anew();
  }
}

// A reply that there is no memory for is passed over: the session goes on with the next one.
TEST_F(RequestTest, EveryAllocationMayFail) {
  const std::string component(9000, 'c');
  dnode* const list = node_of("11.1.1.0");
  peer.otherwise(reply_bytes({.data = one_node, .source_name = "src", .destination_name = "dst"}));
  std::uint32_t number = 0;
  const auto try_all = [](const std::function<OX_RESULT(dnode**)>& call) {
    every_allocation_may_fail([&] {
      dnode* answer = nullptr;
      const OX_RESULT result = call(&answer);
      oxdFree(answer);
      return result;
    });
  };
  try_all([&](dnode** answer) { return oxaGet("mgr", component.c_str(), "11", nullptr, 0, 0, answer); });
  try_all([&](dnode** answer) { return oxaSet("mgr", 0, 0, list, answer); });
  try_all([&](dnode**) { return oxaDataAppend("mgr", 0, 0, "a", "b", list); });
  try_all([&](dnode**) { return oxaDataGetSize("mgr", "a", "b", &number); });
  oxdFree(list);
}

}  // namespace
}  // namespace ox::test
