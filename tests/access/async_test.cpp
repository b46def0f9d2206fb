// Asynchronous requests: what registers and closes them, and what their callbacks are told.
#include <functional>

#include "access/reports.h"
#include "platform/environment.h"
#include "tests/access/report_peer.h"
#include "tests/support/fault_heap.h"

namespace ox::test {
namespace {

const std::string one_node = bytes("0004 0009 '11.1.1.0' 00");
const std::string broken_node = one_node.substr(0, 9);

using Call = std::tuple<void*, std::size_t, OX_RESULT>;  // request, nodes, code

class AsyncTest : public ReportTest {
 protected:
  static void OX_CALL note(void* request, void* argument, dnode* list, OX_RESULT code) {
    auto* const self = static_cast<AsyncTest*>(argument);
    std::size_t nodes = 0;
    for (const dnode* node = list; node != nullptr; node = oxdNext(node)) ++nodes;
    oxdFree(list);
    self->calls.emplace_back(request, nodes, code);
    if (self->in_callback) self->in_callback(request);
  }

  void* open(std::uint32_t command, const char* manager = nullptr) {
    peer.answer(reply_bytes({.source_id = 0x11}));
    void* request = nullptr;
    EXPECT_EQ(0u, command == 2 ? oxaAsyGet(manager, "map:top", "11", nullptr, 0, 0, note, this, &request)
                               : oxaAsySet(manager, 0, 0, nullptr, note, this, &request));
    take_id();
    return request;
  }
  // Closes a request that the manager knows.
  void close(void* request) {
    peer.answer(reply_bytes({.error = 1}));
    EXPECT_EQ(0u, oxaClose(request));
    (void)peer.requests();
  }

  std::vector<Call> calls;
  std::function<void(void* request)> in_callback;
};

TEST_F(AsyncTest, RegistrationAndClosing) {
  const std::string mgr("mgr\0", 4);
  const oxaSelection selection = {{1, 2, 3, 4, 5}};
  dnode* const list = oxdAlloc(1);
  oxdSetAmibName(list, "11.1.1.0");
  const struct {
    std::uint32_t command, close_command;
    std::function<OX_RESULT(void**)> call;
    const char* body;
  } cases[] = {
      {2, 6, [&](void** to) { return oxaAsyGet("mgr", "map:top", "11.1.1.0", &selection, 31, 20, note, this, to); },
       "0008 'map:top' 00 0009 '11.1.1.0' 00 0000001F 00000014 0001 00000001 00000002 00000003 00000004 00000005"},
      {5, 3, [&](void** to) { return oxaAsySet("mgr", 0, 30, list, note, this, to); },
       "00000000 0000001E 000D 0004 0009 '11.1.1.0' 00"}};
  for (const auto& c : cases) {
    for (const auto& [error, result] : {std::pair{1u, 0u}, {0u, 0u}, {63u, 63u}}) {
      SCOPED_TRACE(testing::Message() << c.command << ' ' << error);
      void* request = nullptr;
      peer.answer(reply_bytes({.source_id = 0x80000007}));
      ASSERT_EQ(0u, c.call(&request));
      take_id();
      EXPECT_NE(0u, id);
      EXPECT_EQ(request_bytes({.command = c.command, .session = mgr, .source = id, .body = bytes(c.body)}), sent);
      EXPECT_EQ(5001u, elsewhere([request] { return oxaControl(request, 9, "data", 4); }));
      EXPECT_EQ(5001u, elsewhere([request] { return oxaClose(request); }));
      peer.answer(reply_bytes({.error = 84}));
      EXPECT_EQ(84u, oxaControl(request, 9, "data", 4));
      peer.answer(reply_bytes({.error = error}));
      EXPECT_EQ(result, oxaClose(request));
      EXPECT_EQ(63u, oxaClose(request));
      const RequestFields control = {
          .command = 7, .error = 9, .session = mgr, .source = id, .destination = 0x80000007, .body = "data"};
      const RequestFields closing = {.command = c.close_command, .session = mgr, .source = 0x80000007};
      EXPECT_EQ((std::vector{request_bytes(control), request_bytes(closing)}), peer.requests());
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
  const std::pair<OX_RESULT, OX_RESULT> refused[] = {
      {109, oxaAsySet(nullptr, 0, 0, timed, note, this, &request)},
      {70, oxaAsyGet(nullptr, nullptr, "11", nullptr, 0, 0, note, this, &request)},
      {70, oxaAsyGet(nullptr, "map:top", nullptr, nullptr, 0, 0, note, this, &request)},
      {1, oxaAsyGet(nullptr, "map:top", "11", nullptr, 0, 0, nullptr, this, &request)},
      {1, oxaAsyGet(nullptr, "map:top", "11", nullptr, 0, 0, note, this, nullptr)},
      {1, oxaAsySet(nullptr, 0, 0, nullptr, nullptr, this, &request)},
      {1, oxaAsySet(nullptr, 0, 0, nullptr, note, this, nullptr)}};
  for (const auto& [wanted, result] : refused) EXPECT_EQ(wanted, result);
  oxdFree(timed);
  EXPECT_EQ(this, request);
  EXPECT_EQ(1u, peer.requests().size());

  peer.answer(reply_bytes({.error = 84}));  // a get is registered all the same; without an id there is nothing to close
  EXPECT_EQ(0u, oxaAsyGet(nullptr, "map:top", "11", nullptr, 0, 0, note, this, &request));
  (void)peer.requests();
  EXPECT_EQ(0u, oxaClose(request));
  EXPECT_TRUE(peer.requests().empty());
}

TEST_F(AsyncTest, AGetReportsUntilItIsClosedAndASetOnce) {
  const std::string own = oxcGetMyComm();
  const struct {
    const char* what;
    const char* manager;
    ReplyFields report;
    std::vector<std::pair<std::size_t, OX_RESULT>> told;  // nodes, code
    bool ended = false;                                   // at the manager, too
  } rows[] = {
      {"two nodes", nullptr, {.command = 2, .data = one_node + one_node}, {{2, 0}}},
      {"an error", nullptr, {.command = 2, .error = 84}, {{0, 84}}},
      {"broken nodes", nullptr, {.command = 2, .error = 84, .data = broken_node}, {}},
      {"nobody's", nullptr, {.command = 2, .destination_id = 0x7FFFFFFF, .data = one_node}, {}},
      {"the end", nullptr, {.command = 2, .error = 166, .data = one_node}, {{1, 166}}, true},
      {"our own manager is gone", nullptr, {.type = 4, .command = 2, .error = 84, .data = one_node}, {{1, 17}}},
      {"addressed by no name", "", {.type = 4, .command = 2, .data = one_node}, {{1, 17}}},
      {"addressed by its name", own.c_str(), {.type = 4, .command = 2, .data = one_node}, {{1, 17}}},
      {"another is gone", "elsewhere", {.type = 4, .command = 2, .error = 84, .data = one_node}, {{1, 166}}, true},
      {"a broken notice", "elsewhere", {.type = 4, .command = 2, .data = broken_node}, {}},
      {"success", nullptr, {.command = 5, .data = one_node}, {{1, 0}}},
      {"an error", nullptr, {.command = 5, .error = 121, .data = one_node}, {{1, 121}}},
      {"broken nodes", nullptr, {.command = 5, .data = broken_node}, {{0, 71}}},
      {"an error and broken nodes", nullptr, {.command = 5, .error = 121, .data = broken_node}, {{0, 121}}},
      {"our own manager is gone", nullptr, {.type = 4, .command = 5, .error = 84}, {{0, 17}}},
      {"another is gone", "elsewhere", {.type = 4, .command = 5}, {{0, 166}}}};
  for (const auto& row : rows) {
    const bool is_set = row.report.command == 5;
    SCOPED_TRACE(testing::Message() << (is_set ? "set: " : "get: ") << row.what);
    void* const request = open(row.report.command, row.manager);
    std::vector<Call> wanted;
    for (const auto& [nodes, code] : row.told) wanted.assign(is_set ? 1 : 2, {request, nodes, code});
    calls.clear();
    in_callback = [&](void* reported) { EXPECT_TRUE(!is_set || oxaClose(reported) == 63); };
    deliver({{.command = is_set ? 2u : 5u, .data = one_node}, row.report, row.report});  // the first is of another kind
    EXPECT_EQ(std::vector(4, fetch_bytes()), peer.requests());
    const bool closes = !is_set && !row.ended;
    if (closes) peer.answer(reply_bytes({.error = 1}));
    EXPECT_EQ(is_set ? 63u : 0u, oxaClose(request));
    EXPECT_EQ(closes ? 1u : 0u, peer.requests().size());
    deliver({row.report});  // late
    EXPECT_EQ(wanted, calls);
    (void)peer.requests();
  }
}

// Application data: read in the callback, taken or refused by its result.
struct Receiver {
  OX_RESULT result = 0;
  std::string got;

  static OX_RESULT OX_CALL receive(void* argument, std::uint32_t receiver, OX_RESULT code) {
    auto* const self = static_cast<Receiver*>(argument);
    char buffer[4] = {};
    std::uint32_t length = 0;
    EXPECT_EQ(0u, oxcApDataRead(nullptr, 0, &length));
    EXPECT_EQ(0u, oxcApDataRead(buffer, 3, &length));
    self->got = testing::PrintToString(std::tuple(receiver, code, std::string(buffer), length));
    return self->result;
  }
};

TEST_F(AsyncTest, ApplicationData) {
  Receiver receiver;
  const std::tuple<oxcApDataCallback, OX_RESULT, std::uint32_t, const char*> rows[] = {
      {nullptr, 0, 7, ""},
      {Receiver::receive, 0, 7, "(9, 3, \"dat\", 4)"},
      {Receiver::receive, 5, 8, "(9, 3, \"dat\", 4)"},
      {nullptr, 0, 7, ""}};
  for (const auto& [callback, result, answered, got] : rows) {
    receiver = {result, ""};
    EXPECT_EQ(0u, oxcApDataReceive(callback, &receiver));
    deliver({{.command = 25, .error = 3, .destination_id = 9, .data = "data", .reference = 41}});
    EXPECT_EQ(got, receiver.got);
    EXPECT_EQ((std::vector{fetch_bytes(), fetch_bytes(answered, 41)}), peer.requests());
  }
  std::uint32_t length = 0;
  EXPECT_EQ(122u, oxcApDataRead(nullptr, 0, &length));
  EXPECT_EQ(1u, oxcApDataRead(nullptr, 1, &length));
}

// The time is over when the first callback returns: what the answer to its report brings is kept.
TEST_F(AsyncTest, ADispatchKeepsItsTimeAndLosesNothing) {
  void* request = open(2);
  ReplyFields report = {.command = 2, .destination_id = id, .data = one_node};
  in_callback = [&](void*) { platform::sleep_ms(20); };
  const auto begin = [&] {
    calls.clear();
    peer.answer(reply_bytes(report));
    peer.answer(reply_bytes(report));
    peer.announce();
    while (calls.empty()) EXPECT_EQ(0u, oxaDispatch(10));  // ms
    EXPECT_EQ(1u, calls.size());
  };
  begin();
  peer.answer(nothing);
  EXPECT_EQ(0u, oxaDispatch(10000)) << "with nothing announced";
  EXPECT_EQ(2u, calls.size());

  begin();  // inside a callback; what the inner loop has kept is run by the loop around it
  in_callback = [&](void*) {
    if (calls.size() != 2) return platform::sleep_ms(20);
    for (int i = 0; i < 2; ++i) peer.answer(reply_bytes(report));
    EXPECT_EQ(0u, oxaDispatch(0));
    EXPECT_EQ(3u, calls.size());
    peer.answer(nothing);
  };
  EXPECT_EQ(0u, oxaDispatch(10000));
  EXPECT_EQ(4u, calls.size());

  (void)peer.requests();
  in_callback = [&](void*) { platform::sleep_ms(20); };
  begin();
  close(request);
  request = open(2);
  peer.answer(nothing);
  EXPECT_EQ(0u, oxaDispatch(0));
  EXPECT_EQ(1u, calls.size()) << "a closed request's";
  report.destination_id = id;

  begin();
  session().close();
  EXPECT_EQ(14u, oxaClose(request));
}

TEST_F(AsyncTest, PostponedReportsAreNotFetchedForEver) {
  set_report_handler(25, [](MessagePtr) { return NextFetch{.postponed = true}; });
  // One again and again, two in turn, and one not from the start.
  for (const std::vector<std::uint32_t>& references : {std::vector{1u, 1u}, {1u, 2u, 1u}, {1u, 2u, 3u, 2u}}) {
    for (const std::uint32_t reference : references) answer({.command = 25, .reference = reference});
    dispatch();
    EXPECT_EQ(std::vector(references.size(), fetch_bytes()), peer.requests());
  }
  set_report_handler(25, on_application_data);
}

TEST_F(AsyncTest, EveryAllocationMayFail) {
  dnode* const list = oxdAlloc(1);
  void* request = nullptr;
  peer.otherwise(reply_bytes({.error = 0}));
  every_allocation_may_fail([&] {
    OX_RESULT result = oxaAsyGet("mgr", "map:top", "11", nullptr, 0, 0, note, this, &request);
    if (result == 0) result = oxaClose(request);
    if (result == 0) result = oxaAsySet("mgr", 0, 0, list, note, this, &request);
    return result == 0 ? oxaClose(request) : result;
  });
  oxdFree(list);
}

}  // namespace
}  // namespace ox::test
