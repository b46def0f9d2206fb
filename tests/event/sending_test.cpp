// Sending events and the event log: the bytes that leave, and what becomes of the answer.
#include "tests/event/event_peer.h"
#include "tests/support/fault_heap.h"

namespace ox::test {
namespace {

using SendingTest = EventSessionTest;

const std::string mgr("mgr\0", 4);

TEST_F(SendingTest, EveryRequestsBytesAndErrors) {
  evmsg* const list = events_of({1, 2});
  evflt* const filter = oxeEvfltAlloc();
  oxeEvfltSet(filter, OX_EVFLT_SNDID, 7);
  std::uint32_t handle = 0;
  evmsg* log = nullptr;
  const std::string first = event_bytes(1);
  const std::string all = first + event_bytes(2);
  const struct {
    const char* what;
    std::function<OX_RESULT()> call;
    RequestFields request;
  } cases[] = {
      {"open",
       [&] { return oxeEventOpen("mgr", "app", &handle); },
       {.command = 10, .session = mgr, .body = std::string("app\0", 4)}},
      {"close", [&] { return oxeEventClose(0x80000009); }, {.command = 11, .destination = 0x80000009}},
      {"send", [&] { return oxeEventSend(9, list); }, {.command = 12, .destination = 9, .body = first}},
      {"cancel", [&] { return oxeEventCancel(9, list); }, {.command = 13, .destination = 9, .body = first}},
      {"log",
       [&] { return oxeEvlogGet("mgr", filter, &log); },
       {.command = 15, .session = mgr, .body = bytes("00000004 00000007")}},
      {"log, without a filter",
       [&] { return oxeEvlogGet(nullptr, nullptr, &log); },
       {.command = 15, .body = bytes("00000000")}},
      {"check one", [&] { return oxeEvlogCheck("mgr", 1, list); }, {.command = 16, .session = mgr, .body = first}},
      {"check all", [&] { return oxeEvlogCheck("mgr", 0, list); }, {.command = 16, .session = mgr, .body = all}},
      {"uncheck all", [&] { return oxeEvlogUncheck("mgr", 2, list); }, {.command = 17, .session = mgr, .body = all}},
      {"delete one", [&] { return oxeEvlogDelete("mgr", 1, list); }, {.command = 18, .session = mgr, .body = first}},
      {"modify all", [&] { return oxeEvlogModify("mgr", 0, list); }, {.command = 19, .session = mgr, .body = all}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    peer.answer(reply_bytes({.source_id = 0x80000009, .data = event_bytes(1)}));
    EXPECT_EQ(0u, c.call());
    EXPECT_EQ(std::vector<std::string>{request_bytes(c.request)}, peer.requests());
    if (log != nullptr) {
      EXPECT_EQ(std::vector<std::uint32_t>{1}, ids(log));
      oxeEvmsgFree(std::exchange(log, nullptr));
    }
    for (const auto& [error, result] : {std::pair{6u, 255u}, {84u, 84u}}) {
      peer.answer(reply_bytes({.error = error, .data = event_bytes(5)}));
      EXPECT_EQ(result, c.call());
      EXPECT_EQ(nullptr, log);
    }
    (void)peer.requests();
  }
  EXPECT_EQ(0x80000009u, handle);
  EXPECT_EQ(event_bytes(1) + event_bytes(2), encode(list));
  oxeEvmsgFree(list);
  oxeEvfltFree(filter);
}

TEST_F(SendingTest, AnswersWithoutEventsAndBadArguments) {
  evmsg* const event = events_of({1});
  evmsg* log = event;
  std::uint32_t handle = 77;
  const struct {
    std::string data;
    OX_RESULT result;
  } answers[] = {{"", 1}, {bytes("00000001 00"), 1}, {bytes("00008000 00000001 00"), 71}};
  for (const auto& answer : answers) {
    peer.answer(reply_bytes({.data = answer.data}));
    EXPECT_EQ(answer.result, oxeEventSend(9, event));
    peer.answer(reply_bytes({.data = answer.data}));
    EXPECT_EQ(answer.result, oxeEvlogGet(nullptr, nullptr, &log));
  }
  EXPECT_EQ(event_bytes(1), encode(event));
  (void)peer.requests();
  EXPECT_EQ(1u, oxeEventOpen(nullptr, nullptr, &handle));
  EXPECT_EQ(1u, oxeEventOpen(nullptr, "app", nullptr));
  EXPECT_EQ(1u, oxeEventSend(9, nullptr));
  EXPECT_EQ(1u, oxeEventCancel(9, nullptr));
  EXPECT_EQ(1u, oxeEvlogGet(nullptr, nullptr, nullptr));
  EXPECT_EQ(1u, oxeEvlogDelete(nullptr, 0, nullptr));
  EXPECT_TRUE(peer.requests().empty());
  session().close();
  EXPECT_EQ(14u, oxeEventOpen(nullptr, nullptr, nullptr));
  EXPECT_EQ(14u, oxeEventClose(9));
  EXPECT_EQ(14u, oxeEventSend(9, event));
  EXPECT_EQ(14u, oxeEvlogGet(nullptr, nullptr, &log));
  EXPECT_EQ(event, log);
  EXPECT_EQ(77u, handle);
  oxeEvmsgFree(event);
}

TEST_F(SendingTest, WhatTheManagerCompletesComesBack) {
  evmsg* const event = oxeEvmsgAlloc();
  oxeEvmsgSetSender(event, "app");
  oxeEvmsgSetMsgFile(event, "mine");
  oxeEvmsgSetSnmpSrcIpxAddr(event, "0123456789");
  oxeEvmsgSetMemo(event, "memo");
  // Every field but the sender.
  peer.answer(reply_bytes(
      {.data = bytes(
           "00FFFFFD 80000001 00000403 00000004 00000005 0005 'comm' 00 0005 'type' 00 0005 'name' 00 00000009 "
           "0000000A "
           "0005 'file' 00 0000000C 0004 'opt' 00 00000003 'new' 00 0000000F 00000008 0004 0004 '1.0' 00 0004 'pub' 00 "
           "0006 '1.3.6' 00 0A000001 00000014 00000015 00000016 0004 'map' 00 'abcdefghij'")}));
  EXPECT_EQ(0u, oxeEventSend(9, event));
  EXPECT_EQ(
      bytes("00FFFFFF 80000001 0004 'app' 00 00000403 00000004 00000005 0005 'comm' 00 0005 'type' 00 0005 'name' 00 "
            "00000009 0000000A 0005 'mine' 00 0000000C 0004 'opt' 00 00000003 'new' 00 0000000F 00000008 0004 0004 "
            "'1.0' 00 0004 'pub' 00 0006 '1.3.6' 00 0A000001 00000014 00000015 00000016 0004 'map' 00 '0123456789'"),
      encode(event));
  oxeEvmsgFree(event);
}

TEST_F(SendingTest, EveryAllocationMayFail) {
  peer.otherwise(reply_bytes({.data = bytes("00002003 00000007 0004 'app' 00 00000003 'new' 00")}));
  evmsg* const event = oxeEvmsgAlloc();
  oxeEvmsgSetMemo(event, std::string(9000, 'm').c_str());  // more than fits a request's own memory
  every_allocation_may_fail([&] { return oxeEventCancel(9, event); });
  every_allocation_may_fail([&] { return oxeEventSend(9, event); });
  every_allocation_may_fail([&] {
    evmsg* log = nullptr;
    const OX_RESULT result = oxeEvlogGet(nullptr, nullptr, &log);
    oxeEvmsgFree(log);
    return result;
  });
  oxeEvmsgFree(event);
}

}  // namespace
}  // namespace ox::test
