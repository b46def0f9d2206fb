// Sending events and the event log: the bytes that leave, and what becomes of the answer.
#include "tests/event/event_text.h"
#include "tests/support/fault_heap.h"
#include "tests/support/traced.h"

namespace ox::test {
namespace {

using SendingTest = ReportTest;

TEST_F(SendingTest, EveryRequestsBytesAndErrors) {
  const std::string mgr("mgr\0", 4);
  const std::string first = event_bytes({1});
  const std::string all = event_bytes({1, 2});
  evmsg* const list = events_of(all);
  evflt* const filter = oxeEvfltAlloc();
  oxeEvfltSet(filter, OX_EVFLT_SNDID, 7);
  std::uint32_t handle = 0;
  evmsg* log = nullptr;
  const struct {
    std::function<OX_RESULT()> call;
    RequestFields request;
  } cases[] = {
      {[&] { return oxeEventOpen("mgr", "app", &handle); }, {.command = 10, .session = mgr, .body = {"app\0", 4}}},
      {[&] { return oxeEventClose(0x80000009); }, {.command = 11, .destination = 0x80000009}},
      {[&] { return oxeEventSend(9, list); }, {.command = 12, .destination = 9, .body = first}},
      {[&] { return oxeEventCancel(9, list); }, {.command = 13, .destination = 9, .body = first}},
      {[&] { return oxeEvlogGet("mgr", filter, &log); },
       {.command = 15, .session = mgr, .body = bytes("00000004 00000007")}},
      {[&] { return oxeEvlogGet(nullptr, nullptr, &log); }, {.command = 15, .body = word(0)}},
      {[&] { return oxeEvlogCheck("mgr", 1, list); }, {.command = 16, .session = mgr, .body = first}},
      {[&] { return oxeEvlogCheck("mgr", 0, list); }, {.command = 16, .session = mgr, .body = all}},
      {[&] { return oxeEvlogUncheck("mgr", 2, list); }, {.command = 17, .session = mgr, .body = all}},
      {[&] { return oxeEvlogDelete("mgr", 1, list); }, {.command = 18, .session = mgr, .body = first}},
      {[&] { return oxeEvlogModify("mgr", 0, list); }, {.command = 19, .session = mgr, .body = all}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.request.command);
    peer.answer(reply_bytes({.source_id = 0x80000009, .data = first}));
    EXPECT_EQ(0u, c.call());
    EXPECT_EQ(std::vector<std::string>{request_bytes(c.request)}, peer.requests());
    EXPECT_EQ(c.request.command == 15 ? "1" : "", ids(log));
    oxeEvmsgFree(std::exchange(log, nullptr));
    for (const auto& [error, result] : {std::pair{6u, 255u}, {84u, 84u}}) {
      peer.answer(reply_bytes({.error = error, .data = event_bytes({5})}));
      EXPECT_EQ(result, c.call());
      EXPECT_EQ(nullptr, log);
    }
    (void)peer.requests();
  }
  EXPECT_EQ(0x80000009u, handle);
  EXPECT_EQ(all, encode(list));
  oxeEvmsgFree(list);
  oxeEvfltFree(filter);
}

// What is sent, and what comes back; the list's other fields are shown.
TEST_F(SendingTest, CommunitiesOfEventsAreNotTraced) {
  evmsg* const list = events_of(event_bytes({1, 2}));
  for (evmsg* event = list; event != nullptr; event = oxeEvmsgNext(event)) {
    EXPECT_EQ(0u, oxeEvmsgSetSnmpCommName(event, std::string(40, 'S').c_str()));
    EXPECT_EQ(0u, oxeEvmsgSetMemo(event, std::string(40, 'O').c_str()));
  }
  const std::string all = encode(list);
  evmsg* log = nullptr;
  const struct {
    std::uint32_t command;
    std::function<OX_RESULT()> call;
    std::string answer;
  } cases[] = {
      {12, [&] { return oxeEventSend(9, list); }, all},
      {19, [&] { return oxeEvlogModify(nullptr, 0, list); }, ""},
      {15, [&] { return oxeEvlogGet(nullptr, nullptr, &log); }, all},
  };
  for (const auto& c : cases) {
    peer.answer(reply_bytes({.type = 2, .command = c.command, .data = c.answer}));
    const std::string shown = traced(0x400, [&] { EXPECT_EQ(0u, c.call()); });
    EXPECT_EQ(shown.npos, shown.find("SSSS")) << shown;
    EXPECT_NE(shown.npos, shown.find("OOOO")) << shown;
  }
  EXPECT_EQ(all, encode(log)) << "only what is shown is changed";
  oxeEvmsgFree(log);
  oxeEvmsgFree(list);
}

TEST_F(SendingTest, AnswersWithoutEventsAndBadArguments) {
  evmsg* const event = events_of(event_bytes({1}));
  evmsg* log = event;
  std::uint32_t handle = 77;
  for (const auto& [data, result] : {std::pair{"", 1u}, {"00000001 00", 1u}, {"00008000 00000001 00", 71u}}) {
    for (int i = 0; i < 2; ++i) peer.answer(reply_bytes({.data = bytes(data)}));
    EXPECT_EQ(result, oxeEventSend(9, event));
    EXPECT_EQ(result, oxeEvlogGet(nullptr, nullptr, &log));
  }
  (void)peer.requests();
  for (const OX_RESULT result :
       {oxeEventOpen(nullptr, nullptr, &handle), oxeEventOpen(nullptr, "app", nullptr), oxeEventSend(9, nullptr),
        oxeEventCancel(9, nullptr), oxeEvlogGet(nullptr, nullptr, nullptr), oxeEvlogDelete(nullptr, 0, nullptr)}) {
    EXPECT_EQ(1u, result);
  }
  EXPECT_TRUE(peer.requests().empty());
  session().close();
  for (const OX_RESULT result : {oxeEventOpen(nullptr, nullptr, nullptr), oxeEventClose(9), oxeEventSend(9, event),
                                 oxeEvlogGet(nullptr, nullptr, &log)}) {
    EXPECT_EQ(14u, result);
  }
  EXPECT_EQ(event, log);
  EXPECT_EQ(event_bytes({1}), encode(event));
  EXPECT_EQ(77u, handle);
  oxeEvmsgFree(event);
}

TEST_F(SendingTest, WhatTheManagerCompletesComesBack) {
  evmsg* const completed = events_of(bytes(every_field_wire));
  oxeEvmsgClrSender(completed);
  peer.answer(reply_bytes({.data = encode(completed)}));
  evmsg* const event = oxeEvmsgAlloc();
  oxeEvmsgSetMemo(event, "memo");
  for (evmsg* const each : {event, completed}) {  // of what it has sent, an event keeps these
    oxeEvmsgSetSender(each, "app");
    oxeEvmsgSetMsgFile(each, "mine");
    oxeEvmsgSetSnmpSrcIpxAddr(each, "abcdefghij");
  }
  EXPECT_EQ(0u, oxeEventSend(9, event));
  EXPECT_EQ(encode(completed), encode(event));
  oxeEvmsgFree(event);
  oxeEvmsgFree(completed);
}

// The manager takes data parts of 100 bytes: payloads of 91, 11 of these events.
TEST_F(SendingTest, WhatIsLongerThanTheManagerTakesIsSplitOrRefused) {
  peer.answer_greetings({.pieces = {bytes("0015 0000 0009 'MaxFrame' 00 00000064 FFFF")}});
  open_anew();
  const auto run_of = [](std::uint32_t first, std::uint32_t last) {
    std::string events;
    for (std::uint32_t i = first; i <= last; ++i) events += event_bytes({i});
    return events;
  };
  const auto body_of = [](const std::string& request) { return request.size() > 58 ? request.substr(58) : ""; };
  const auto bodies = [&] {
    std::vector<std::string> all;
    for (const std::string& request : peer.requests()) all.push_back(body_of(request));
    return all;
  };
  evmsg* const list = events_of(run_of(1, 25));
  using Change = OX_RESULT(OX_CALL*)(const char*, std::uint32_t, const evmsg*);
  for (const Change change : {Change{oxeEvlogCheck}, {oxeEvlogUncheck}, {oxeEvlogDelete}}) {
    for (int i = 0; i < 3; ++i) peer.answer(reply_bytes({}));
    EXPECT_EQ(0u, change(nullptr, 0, list));
    EXPECT_EQ((std::vector{run_of(1, 11), run_of(12, 22), run_of(23, 25)}), bodies());
    peer.answer(reply_bytes({}));
    peer.answer(reply_bytes({.error = 122}));
    EXPECT_EQ(122u, change(nullptr, 0, list)) << "the first that fails ends it";
    EXPECT_EQ((std::vector{run_of(1, 11), run_of(12, 22)}), bodies());
  }
  EXPECT_EQ(266u, oxeEvlogModify(nullptr, 0, list));
  oxeEvmsgSetMemo(oxeEvmsgNext(list), std::string(100, 'm').c_str());
  peer.answer(reply_bytes({}));
  EXPECT_EQ(266u, oxeEvlogDelete(nullptr, 0, list));
  EXPECT_EQ(std::vector{run_of(1, 1)}, bodies());
  EXPECT_EQ(266u, oxeEventSend(9, oxeEvmsgNext(list)));
  EXPECT_EQ(std::vector<std::string>{}, bodies()) << "refused before it leaves";
  peer.answer_greetings({.pieces = {bytes("0013 0000 0009 'Maxframe' 00 00000064")}});
  open_anew();  // another manager's limit, which is none
  peer.answer(reply_bytes({}));
  EXPECT_EQ(0u, oxeEvlogDelete(nullptr, 0, list));
  EXPECT_EQ(std::vector{encode(list)}, bodies());
  oxeEvmsgFree(list);
}

TEST_F(SendingTest, EveryAllocationMayFail) {
  peer.otherwise(reply_bytes({.data = bytes("00002003 00000007 0004 'app' 00 00000003 'new' 00")}));
  evmsg* const event = oxeEvmsgAlloc();
  evmsg* log = nullptr;
  oxeEvmsgSetMemo(event, std::string(9000, 'm').c_str());  // more than fits a request's own memory
  every_allocation_may_fail([&] {
    OX_RESULT result = oxeEventSend(9, event);
    if (result == 0) result = oxeEvlogGet(nullptr, nullptr, &log);
    oxeEvmsgFree(std::exchange(log, nullptr));
    return result;
  });
  oxeEvmsgFree(event);
}

}  // namespace
}  // namespace ox::test
