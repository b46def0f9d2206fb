// Asynchronous requests: what registers and closes them, and what their callbacks are told.
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <oxbase/oxc.h>

#include "access/reports.h"
#include "tests/support/byte_text.h"
#include "tests/support/fault_heap.h"
#include "tests/support/session_fixture.h"

namespace ox::test {
namespace {

constexpr std::uint32_t limit_ms = 10000;  // for waits that a fault would make endless

const std::string one_node = bytes("0004 0009 '11.1.1.0' 00");
const std::string broken_node = one_node.substr(0, 9);
const std::string header = bytes("00000031 000B 'pipeHeader' 00");

// A message without data or names.
std::string plain(std::uint32_t type, std::uint32_t command, std::uint32_t source, std::uint32_t reference) {
  return header + word(0) + half(2) + half(type) + half(command) + half(0) + word(0) + word(source) + word(0) +
         word(0) + word(reference);
}
const std::string fetch = plain(5, 0, 0, 0xFFFFFFFF);
const std::string nothing = reply_bytes({.type = 6});

struct Call {
  void* request;
  std::size_t nodes;
  OX_RESULT code;
  bool operator==(const Call&) const = default;
};

class AsyncTest : public SessionTest {
 protected:
  void SetUp() override {
    SessionTest::SetUp();
    blocks_ = oxcGetMemValue(1);
  }
  void TearDown() override {
    EXPECT_EQ(blocks_, oxcGetMemValue(1));
    SessionTest::TearDown();
  }

  static void OX_CALL note(void* request, void* argument, dnode* list, OX_RESULT code) {
    auto* const self = static_cast<AsyncTest*>(argument);
    std::size_t nodes = 0;
    for (const dnode* node = list; node != nullptr; node = oxdNext(node)) ++nodes;
    oxdFree(list);
    self->calls.push_back({request, nodes, code});
    if (self->in_callback) self->in_callback(request);
  }

  void* open_get(const char* manager = nullptr, std::uint32_t daemon_id = 0x11) {
    peer.answer(reply_bytes({.source_id = daemon_id}));
    void* request = nullptr;
    EXPECT_EQ(0u, oxaAsyGet(manager, "map:top", "11", nullptr, 0, 0, note, this, &request));
    return take_id(request);
  }
  void* open_set(const char* manager = nullptr) {
    peer.answer(reply_bytes({.source_id = 0x22}));
    void* request = nullptr;
    EXPECT_EQ(0u, oxaAsySet(manager, 0, 0, nullptr, note, this, &request));
    return take_id(request);
  }
  void* take_id(void* request) {
    id = peer.requests().back().substr(33, 4);
    return request;
  }
  std::uint32_t number_of_id() const {
    std::uint32_t number = 0;
    for (const char byte : id) number = number << 8 | static_cast<unsigned char>(byte);
    return number;
  }

  // Lets the peer announce the reports, which go to the request opened last, and handles them all.
  void deliver(std::vector<ReplyFields> reports) {
    for (ReplyFields& report : reports) {
      if (report.destination_id == 0) report.destination_id = number_of_id();
      peer.answer(reply_bytes(report));
    }
    peer.answer(nothing);
    dispatch();
  }
  void dispatch() {
    peer.announce();
    EXPECT_EQ(0u, oxaDispatch(limit_ms));
  }
  // Closes a request that the manager knows.
  void close(void* request) {
    peer.answer(reply_bytes({.error = 1}));
    EXPECT_EQ(0u, oxaClose(request));
    (void)peer.requests();
  }

  std::vector<Call> calls;
  std::function<void(void* request)> in_callback;
  std::string id;  // on the wire, of the request opened last

 private:
  std::uint32_t blocks_ = 0;
};

TEST_F(AsyncTest, RegistrationAndClosing) {
  const oxaSelection selection = {{1, 2, 3, 4, 5}};
  dnode* const list = oxdAlloc(1);
  oxdSetAmibName(list, "11.1.1.0");
  const struct {
    const char* what;
    std::function<OX_RESULT(void**)> call;
    const char* before_id;
    const char* after_id;
    std::uint32_t close_command;
  } cases[] = {
      {"get",
       [&](void** request) { return oxaAsyGet("mgr", "map:top", "11.1.1.0", &selection, 31, 20, note, this, request); },
       "00000035 000B 'pipeHeader' 00 0000003C 0002 0001 0002 0000 0000 0000",
       "00000000 0000 0004 'mgr' 00 00000000 'pipeData' 00 0008 'map:top' 00 0009 '11.1.1.0' 00 0000001F 00000014 0001 "
       "00000001 00000002 00000003 00000004 00000005",
       6},
      {"set", [&](void** request) { return oxaAsySet("mgr", 0, 30, list, note, this, request); },
       "00000035 000B 'pipeHeader' 00 00000020 0002 0001 0005 0000 0000 0000",
       "00000000 0000 0004 'mgr' 00 00000000 'pipeData' 00 00000000 0000001E 000D 0004 0009 '11.1.1.0' 00", 3},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    void* request = nullptr;
    peer.answer(reply_bytes({.source_id = 0x80000007}));
    ASSERT_EQ(0u, c.call(&request));
    std::string sent = peer.requests().at(0);
    EXPECT_NE(word(0), sent.substr(33, 4));  // the request's id
    EXPECT_EQ(bytes(c.before_id) + bytes(c.after_id), sent.erase(33, 4));
    for (const auto& [error, result] : {std::pair{1u, 0u}, {0u, 0u}, {63u, 63u}}) {
      SCOPED_TRACE(error);
      if (request == nullptr) {
        peer.answer(reply_bytes({.source_id = 0x80000007}));
        ASSERT_EQ(0u, c.call(&request));
      }
      (void)peer.requests();
      peer.answer(reply_bytes({.error = error}));
      EXPECT_EQ(result, oxaClose(request));
      EXPECT_EQ(bytes("00000035 000B 'pipeHeader' 00 00000000 0002 0001") + half(c.close_command) +
                    bytes("0000 0000 0000 80000007 00000000 0000 0004 'mgr' 00 00000000"),
                peer.requests().at(0));
      EXPECT_EQ(63u, oxaClose(std::exchange(request, nullptr)));
    }
  }
  oxdFree(list);
}

TEST_F(AsyncTest, RefusalsAndBadArguments) {
  void* request = this;
  peer.answer(reply_bytes({.error = 84, .source_id = 5}));
  EXPECT_EQ(84u, oxaAsySet(nullptr, 0, 0, nullptr, note, this, &request));
  dnode* const timed = oxdAlloc(1);
  oxdSetReqTime(timed, 5);
  EXPECT_EQ(109u, oxaAsySet(nullptr, 0, 0, timed, note, this, &request));
  oxdFree(timed);
  EXPECT_EQ(70u, oxaAsyGet(nullptr, nullptr, "11", nullptr, 0, 0, note, this, &request));
  EXPECT_EQ(70u, oxaAsyGet(nullptr, "map:top", nullptr, nullptr, 0, 0, note, this, &request));
  EXPECT_EQ(1u, oxaAsyGet(nullptr, "map:top", "11", nullptr, 0, 0, nullptr, this, &request));
  EXPECT_EQ(1u, oxaAsyGet(nullptr, "map:top", "11", nullptr, 0, 0, note, this, nullptr));
  EXPECT_EQ(1u, oxaAsySet(nullptr, 0, 0, nullptr, nullptr, this, &request));
  EXPECT_EQ(1u, oxaAsySet(nullptr, 0, 0, nullptr, note, this, nullptr));
  EXPECT_EQ(this, request);
  EXPECT_EQ(1u, peer.requests().size());

  peer.answer(reply_bytes({.error = 84}));  // a get is registered all the same; without an id there is nothing to close
  EXPECT_EQ(0u, oxaAsyGet(nullptr, "map:top", "11", nullptr, 0, 0, note, this, &request));
  (void)peer.requests();
  EXPECT_EQ(0u, oxaClose(request));
  EXPECT_TRUE(peer.requests().empty());
  session().close();
  EXPECT_EQ(14u, oxaAsyGet(nullptr, nullptr, nullptr, nullptr, 0, 0, nullptr, nullptr, nullptr));
  EXPECT_EQ(14u, oxaAsySet(nullptr, 0, 0, nullptr, nullptr, nullptr, nullptr));
}

TEST_F(AsyncTest, AGetReportsUntilItIsClosed) {
  void* const other = open_get();
  const std::string other_id = id;
  void* const request = open_get();
  EXPECT_NE(other_id, id);
  deliver({{.command = 2, .data = one_node},
           {.command = 2, .data = one_node + one_node},
           {.command = 2, .error = 84},
           {.command = 2, .destination_id = 0x7FFFFFFF, .data = one_node},  // nobody's
           {.command = 5, .data = one_node},                                // of a set, with a get's id
           {.command = 2, .data = broken_node}});
  EXPECT_EQ((std::vector<Call>{{request, 1, 0}, {request, 2, 0}, {request, 0, 84}}), calls);
  EXPECT_EQ(std::vector<std::string>(7, fetch), peer.requests());
  close(request);
  deliver({{.command = 2, .data = one_node}});  // late
  EXPECT_EQ(3u, calls.size());
  close(other);
}

TEST_F(AsyncTest, WhatEndsAGet) {
  const std::string own = oxcGetMyComm();
  const struct {
    const char* what;
    const char* manager;
    ReplyFields report;
    OX_RESULT code;
    bool ended;
  } rows[] = {
      {"the manager ends it", nullptr, {.command = 2, .error = 166, .data = one_node}, 166, true},
      {"our own manager is gone", nullptr, {.type = 4, .command = 2, .error = 84, .data = one_node}, 17, false},
      {"the same, addressed by no name", "", {.type = 4, .command = 2, .data = one_node}, 17, false},
      {"the same, addressed by its name", own.c_str(), {.type = 4, .command = 2, .data = one_node}, 17, false},
      {"another manager is gone", "elsewhere", {.type = 4, .command = 2, .error = 84, .data = one_node}, 166, true},
      {"a broken notice", "elsewhere", {.type = 4, .command = 2, .data = broken_node}, 0, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    void* const request = open_get(row.manager);
    calls.clear();
    deliver({row.report});
    EXPECT_EQ(row.code != 0 ? std::vector<Call>(1, {request, 1, row.code}) : std::vector<Call>(), calls);
    (void)peer.requests();
    if (!row.ended) peer.answer(reply_bytes({.error = 1}));
    EXPECT_EQ(0u, oxaClose(request));
    EXPECT_EQ(row.ended ? 0u : 1u, peer.requests().size());
  }
}

TEST_F(AsyncTest, ASetReportsOnceAndIsGone) {
  const struct {
    const char* what;
    const char* manager;
    ReplyFields report;
    std::size_t nodes;
    OX_RESULT code;
  } rows[] = {
      {"success", nullptr, {.command = 5, .data = one_node}, 1, 0},
      {"an error", nullptr, {.command = 5, .error = 121, .data = one_node}, 1, 121},
      {"broken nodes", nullptr, {.command = 5, .data = broken_node}, 0, 71},
      {"an error and broken nodes", nullptr, {.command = 5, .error = 121, .data = broken_node}, 0, 121},
      {"our own manager is gone", nullptr, {.type = 4, .command = 5, .error = 84}, 0, 17},
      {"another manager is gone", "elsewhere", {.type = 4, .command = 5}, 0, 166},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    void* const request = open_set(row.manager);
    calls.clear();
    in_callback = [](void* reported) { EXPECT_EQ(63u, oxaClose(reported)); };
    deliver({row.report, row.report});
    EXPECT_EQ((std::vector<Call>{{request, row.nodes, row.code}}), calls);
    EXPECT_EQ(63u, oxaClose(request));
  }
}

TEST_F(AsyncTest, CallbacksCloseOpenAndDispatch) {
  void* const outer = open_get();
  const std::uint32_t outer_id = number_of_id();
  void* const inner = open_get();
  const std::uint32_t inner_id = number_of_id();
  void* opened = nullptr;
  in_callback = [&](void* reported) {
    if (reported == inner) return;
    peer.answer(reply_bytes({.error = 1}));
    EXPECT_EQ(0u, oxaClose(reported));
    peer.answer(reply_bytes({}));  // of the open
    EXPECT_EQ(0u, oxaAsyGet(nullptr, "map:top", "11", nullptr, 0, 0, note, this, &opened));
    peer.answer(reply_bytes({.command = 2, .destination_id = inner_id, .data = one_node}));
    peer.answer(reply_bytes({.command = 2, .destination_id = outer_id, .data = one_node}));
    peer.answer(nothing);
    dispatch();
    peer.answer(nothing);  // of the outer loop
  };
  peer.answer(reply_bytes({.command = 2, .destination_id = outer_id, .data = one_node}));
  dispatch();
  // On a 32-bit build the new request may well stand where the closed one stood.
  EXPECT_EQ((Call{outer, 1, 0}), calls.at(0));
  EXPECT_EQ((Call{inner, 1, 0}), calls.at(1));
  EXPECT_EQ(7u, peer.requests().size());
  in_callback = nullptr;
  EXPECT_EQ(0u, oxaClose(opened));
  close(inner);
}

// Application data: read in the callback, taken or refused by its result.
struct Receiver {
  OX_RESULT result = 0;
  std::vector<std::string> got;

  static OX_RESULT OX_CALL receive(void* argument, std::uint32_t receiver, OX_RESULT code) {
    auto* const self = static_cast<Receiver*>(argument);
    char buffer[4] = {};
    std::uint32_t length = 0;
    EXPECT_EQ(0u, oxcApDataRead(nullptr, 0, &length));
    EXPECT_EQ(0u, oxcApDataRead(buffer, 3, &length));
    self->got.push_back(std::to_string(receiver) + ' ' + std::to_string(code) + ' ' + buffer + ' ' +
                        std::to_string(length));
    return self->result;
  }
};

TEST_F(AsyncTest, ApplicationData) {
  Receiver receiver;
  const ReplyFields data = {.command = 25, .error = 3, .destination_id = 9, .data = "data", .reference = 41};
  const struct {
    oxcApDataCallback callback;
    OX_RESULT result;
    std::uint32_t answer;
    std::vector<std::string> got;
  } rows[] = {{nullptr, 0, 7, {}},
              {Receiver::receive, 0, 7, {"9 3 dat 4"}},
              {Receiver::receive, 5, 8, {"9 3 dat 4"}},
              {nullptr, 0, 7, {}}};
  for (const auto& row : rows) {
    receiver = {row.result, {}};
    EXPECT_EQ(0u, oxcApDataReceive(row.callback, &receiver));
    deliver({data});
    EXPECT_EQ(row.got, receiver.got);
    EXPECT_EQ((std::vector<std::string>{fetch, plain(row.answer, 0, 0, 41)}), peer.requests());
  }
  std::uint32_t length = 0;
  EXPECT_EQ(122u, oxcApDataRead(nullptr, 0, &length));
  EXPECT_EQ(1u, oxcApDataRead(nullptr, 1, &length));
  EXPECT_EQ(1u, oxcApDataRead(nullptr, 0, nullptr));
}

TEST_F(AsyncTest, PostponedReportsAreNotFetchedForEver) {
  set_report_handler(25, [](MessagePtr) { return NextFetch{.postponed = true}; });
  const struct {
    const char* what;
    std::vector<std::uint32_t> references;
  } rows[] = {{"one again and again", {1, 1}}, {"two in turn", {1, 2, 1}}, {"not from the start", {1, 2, 3, 2}}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    for (const std::uint32_t reference : row.references) {
      peer.answer(reply_bytes({.command = 25, .reference = reference}));
    }
    dispatch();
    EXPECT_EQ(std::vector<std::string>(row.references.size(), fetch), peer.requests());
  }
  set_report_handler(25, on_application_data);
}

TEST_F(AsyncTest, EveryAllocationMayFail) {
  dnode* const list = oxdAlloc(1);
  peer.otherwise(reply_bytes({.error = 0}));
  every_allocation_may_fail([&] {
    void* request = nullptr;
    const OX_RESULT result = oxaAsyGet("mgr", "map:top", "11", nullptr, 0, 0, note, this, &request);
    return result == 0 ? oxaClose(request) : result;
  });
  every_allocation_may_fail([&] {
    void* request = nullptr;
    const OX_RESULT result = oxaAsySet("mgr", 0, 0, list, note, this, &request);
    return result == 0 ? oxaClose(request) : result;
  });
  oxdFree(list);
}

}  // namespace
}  // namespace ox::test
