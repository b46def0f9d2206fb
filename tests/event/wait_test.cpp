// Waits: what opens and closes them, and what their callbacks are told.
#include <map>
#include <utility>

#include "platform/registry.h"
#include "tests/event/event_peer.h"
#include "tests/support/fault_heap.h"

namespace ox::test {
namespace {

constexpr char key_of_app[] = "Software\\CORVID\\OXBASE\\evWaitKey\\app";

// The list of one node whose value is these bytes.
std::string value_bytes(std::string_view value) {
  return half(0x40) + half(OX_OPAQUE) + word(static_cast<std::uint32_t>(value.size())) + std::string(value);
}

struct Delivery {
  void* wait;
  std::vector<std::uint32_t> events;
  OX_RESULT code;
  bool operator==(const Delivery&) const = default;
};

class WaitTest : public EventSessionTest {
 protected:
  static OX_RESULT OX_CALL note(void* wait, std::uint32_t reserved, void* argument, evmsg* list, OX_RESULT code) {
    auto* const self = static_cast<WaitTest*>(argument);
    EXPECT_EQ(0u, reserved);
    EXPECT_EQ(list == nullptr, code != 0);
    self->got.push_back({wait, ids(list), code});
    oxeEvmsgFree(list);
    return self->in_callback ? self->in_callback(wait) : OX_RESULT{OX_OK};
  }

  using Open = OX_RESULT(OX_CALL*)(const char*, std::uint32_t, oxeEventCallback, void*, void**);
  void* open(Open function = oxeEventWaitOpen, std::uint32_t daemon_id = 0) {
    peer.answer(reply_bytes({.source_id = daemon_id}));
    void* wait = nullptr;
    EXPECT_EQ(0u, function("mgr", 0x1234, note, this, &wait));
    id = last_source_id();
    return wait;
  }
  void* open_persistent(const char* name = "app") {
    peer.answer(reply_bytes({.source_id = 0x80000033}));
    void* wait = nullptr;
    EXPECT_EQ(0u, oxeEventWaitOpenEx(name, note, this, &wait));
    id = last_source_id();
    return wait;
  }
  void close_persistent(void* wait) {
    peer.answer(reply_bytes({}));
    EXPECT_EQ(0u, oxeEventWaitCloseEx(wait));
    (void)peer.requests();
  }
  // A delivery to the persistent wait opened last.
  [[nodiscard]] ReplyFields delivery(std::uint32_t number, std::string data) const {
    return {.command = 25, .destination_id = id, .data = std::move(data), .reference = number};
  }
  // Sends the deliveries; the fetches that answered them.
  [[nodiscard]] std::vector<std::string> answers_to(const std::vector<ReplyFields>& reports) {
    deliver(reports);
    std::vector<std::string> fetches = peer.requests();
    EXPECT_EQ(fetch_bytes(), fetches.at(0));
    fetches.erase(fetches.begin());
    return fetches;
  }

  std::vector<Delivery> got;
  std::function<OX_RESULT(void* wait)> in_callback;
  std::uint32_t id = 0;  // on the wire, of what was opened last
};

evflt* filter_of(std::uint32_t id) {
  evflt* const filter = oxeEvfltAlloc();
  oxeEvfltSet(filter, OX_EVFLT_SNDID, id);
  return filter;
}

TEST_F(WaitTest, PlainAndTrapWaitsWatchAValueEach) {
  const struct {
    Open function;
    const char* path;
  } cases[] = {{oxeEventWaitOpen, "sysmib.oxMessage.oxEventMessage2.0"},
               {oxeTrapWaitOpen, "sysmib.oxMessage.oxTrapMessage.0"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    void* wait = nullptr;
    peer.answer(reply_bytes({.source_id = 0x44}));
    ASSERT_EQ(0u, c.function("mgr", 0, note, this, &wait));
    const std::string sent = peer.requests().at(0);
    const std::string mgr("mgr\0", 4);
    EXPECT_EQ(request_bytes({.command = 2,
                             .session = mgr,
                             .source = sent.substr(33, 4),
                             .body = text("system:system") + text(c.path) + word(64) + word(0) + half(0)}),
              sent);
    peer.answer(reply_bytes({.error = 63}));
    EXPECT_EQ(63u, oxeEventWaitClose(wait));  // with the wait gone
    EXPECT_EQ(request_bytes({.command = 6, .session = mgr, .source = word(0x44)}), peer.requests().at(0));
    EXPECT_EQ(1u, oxeEventWaitClose(wait));
    EXPECT_EQ(1u, oxeEventWaitFilter(wait, nullptr));
    EXPECT_EQ(1u, c.function("mgr", 0, nullptr, this, &wait));
    EXPECT_EQ(1u, c.function("mgr", 0, note, this, nullptr));
  }
}

TEST_F(WaitTest, WhatAPlainWaitIsTold) {
  void* const wait = open();
  evflt* const filter = filter_of(7);
  const std::string sevens = event_bytes(7) + event_bytes(8);
  const std::string eights = event_bytes(8) + event_bytes(7);
  const struct {
    const char* what;
    const evflt* filter;
    ReplyFields report;
    std::vector<Delivery> told;
  } rows[] = {
      {"no filter", nullptr, {.data = value_bytes(eights)}, {{wait, {8, 7}, 0}}},
      {"the first passes", filter, {.data = value_bytes(sevens)}, {{wait, {7, 8}, 0}}},
      {"the first fails", filter, {.data = value_bytes(eights)}, {}},
      {"the filter is taken away", nullptr, {.data = value_bytes(eights)}, {{wait, {8, 7}, 0}}},
      {"no events", nullptr, {.data = value_bytes("")}, {}},
      {"broken events", nullptr, {.data = value_bytes(bytes("00000001 00"))}, {{wait, {}, 1}}},
      {"a broken node", nullptr, {.data = bytes("0040 00")}, {}},  // the request's own matter
      {"a node with an error", nullptr, {.data = bytes("0020 0054")}, {{wait, {}, 84}}},
      {"a node with nothing", nullptr, {.data = bytes("0000")}, {{wait, {}, 32}}},
      {"no node", nullptr, {}, {{wait, {}, 32}}},
      {"an error", filter, {.error = 84, .data = value_bytes(sevens)}, {{wait, {}, 84}}},
      {"two nodes",
       filter,
       {.data = value_bytes(event_bytes(7)) + value_bytes(event_bytes(8)) + value_bytes(sevens)},
       {{wait, {7}, 0}, {wait, {7, 8}, 0}}},
      {"another machine's manager is gone", nullptr, {.type = 4}, {{wait, {}, 166}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    got.clear();
    EXPECT_EQ(0u, oxeEventWaitFilter(wait, row.filter));
    ReplyFields report = row.report;
    report.command = 2;
    report.destination_id = id;
    deliver({report});
    EXPECT_EQ(row.told, got);
  }
  oxeEvfltFree(filter);
  EXPECT_EQ(0u, oxeEventWaitClose(wait));
}

TEST_F(WaitTest, APlainWaitsCallbackClosesItAndOpensAnother) {
  void* second = nullptr;
  in_callback = [&](void* wait) -> OX_RESULT {
    EXPECT_EQ(0u, oxeEventWaitClose(wait));
    EXPECT_EQ(1u, oxeEventWaitClose(wait));
    second = open();
    return 0;
  };
  (void)open();
  // The second node is the closed wait's: the new one, at the same address perhaps, does not get it.
  peer.answer(reply_bytes(
      {.command = 2, .destination_id = id, .data = value_bytes(event_bytes(1)) + value_bytes(event_bytes(2))}));
  peer.otherwise(reply_bytes({.type = 6}));
  dispatch();
  EXPECT_EQ(1u, got.size());
  in_callback = nullptr;
  EXPECT_EQ(0u, oxeEventWaitClose(second));
}

struct IconTold {
  std::vector<std::string> told;

  static void OX_CALL note(void*, void* argument, const char* component, const char* name, std::uint32_t status,
                           OX_RESULT code) {
    static_cast<IconTold*>(argument)->told.push_back(std::string(component != nullptr ? component : "-") + ' ' +
                                                     (name != nullptr ? name : "-") + ' ' + std::to_string(status) +
                                                     ' ' + std::to_string(code));
  }
};

TEST_F(WaitTest, IconWaits) {
  IconTold icons;
  void* wait = nullptr;
  const std::string longest(63, 'm');
  EXPECT_EQ(70u, oxeEventIconWaitOpen(nullptr, nullptr, IconTold::note, &icons, &wait));
  EXPECT_EQ(59u, oxeEventIconWaitOpen(nullptr, (longest + 'm').c_str(), IconTold::note, &icons, &wait));
  EXPECT_EQ(1u, oxeEventIconWaitOpen(nullptr, "top", nullptr, &icons, &wait));
  peer.answer(reply_bytes({}));
  ASSERT_EQ(0u, oxeEventIconWaitOpen(nullptr, longest.c_str(), IconTold::note, &icons, &wait));
  const std::string sent = peer.requests().at(0);
  EXPECT_EQ(request_bytes({.command = 2,
                           .source = sent.substr(33, 4),
                           .body = text("map:" + longest) + text("obj.map.mapIconStatus.0,obj.map.mapIconName.0") +
                                   word(64) + word(0) + half(0)}),
            sent);
  std::uint32_t icon_id = 0;
  for (const char byte : sent.substr(33, 4)) icon_id = icon_id << 8 | static_cast<unsigned char>(byte);
  const std::string status = bytes("0045 0004 'top' 00 0009 '11.2.5.0' 00 0001 00000004 00000003");
  const std::string name = bytes("0045 0004 'top' 00 0009 '11.2.4.0' 00 0009 00000004 'r12' 00");
  const std::string opaque = bytes("0044 0009 '11.2.4.0' 00 000C 00000003 'r12'");
  const std::pair<ReplyFields, const char*> rows[] = {{{.data = status + name}, "top r12 3 0"},
                                                      {{.data = name + status}, "top r12 3 0"},
                                                      {{.data = status}, "top - 3 0"},
                                                      {{.data = opaque}, "- - 0 0"},
                                                      {{}, "- - 0 0"},
                                                      {{.error = 84, .data = status + name}, "- - 0 84"}};
  for (auto [report, told] : rows) {
    report.command = 2;
    report.destination_id = icon_id;
    deliver({report});
    EXPECT_EQ(told, icons.told.back());
  }
  EXPECT_EQ(std::size(rows), icons.told.size());
  EXPECT_EQ(1u, oxeEventWaitClose(wait));  // of the other kind
  EXPECT_EQ(0u, oxeEventIconWaitClose(wait));
  EXPECT_EQ(1u, oxeEventIconWaitClose(wait));
}

TEST_F(WaitTest, OpeningAPersistentWait) {
  void* wait = this;
  const std::string longest(64, 'n');
  EXPECT_EQ(195u, oxeEventWaitOpenEx(nullptr, note, this, &wait));
  EXPECT_EQ(nullptr, std::exchange(wait, this));
  EXPECT_EQ(195u, oxeEventWaitOpenEx("", note, this, &wait));
  EXPECT_EQ(195u, oxeEventWaitOpenEx("app", note, this, nullptr));
  EXPECT_EQ(418u, oxeEventWaitOpenEx((longest + 'n').c_str(), note, this, &wait));
  EXPECT_EQ(1u, oxeEventWaitOpenEx("app", nullptr, this, &wait));
  EXPECT_TRUE(peer.requests().empty());
  peer.answer(reply_bytes({.error = 6}));
  EXPECT_EQ(6u, oxeEventWaitOpenEx("app", note, this, &wait));
  EXPECT_EQ(nullptr, wait);
  (void)peer.requests();

  peer.answer(reply_bytes({.source_id = 0x80000033}));
  ASSERT_EQ(0u, oxeEventWaitOpenEx(longest.c_str(), note, this, &wait));
  const std::string sent = peer.requests().at(0);
  EXPECT_NE(word(0), sent.substr(33, 4));
  EXPECT_EQ(request_bytes({.command = 25, .source = sent.substr(33, 4), .body = longest + '\0'}), sent);
  peer.answer(reply_bytes({.error = 84}));
  EXPECT_EQ(84u, oxeEventWaitCloseEx(wait));  // with the wait gone
  EXPECT_EQ(request_bytes({.command = 26, .destination = 0x80000033}), peer.requests().at(0));
  EXPECT_EQ(195u, oxeEventWaitCloseEx(wait));
  EXPECT_EQ(1u, oxeEventWaitFilterEx(wait, nullptr));
  session().close();
  EXPECT_EQ(14u, oxeEventWaitOpenEx("app", note, this, &wait));
}

TEST_F(WaitTest, EachDeliveryIsTakenOrRefusedByItsNumber) {
  void* const wait = open_persistent();
  evflt* const filter = filter_of(7);
  EXPECT_EQ(0u, oxeEventWaitFilterEx(wait, filter));
  oxeEvfltFree(filter);
  const struct {
    const char* what;
    OX_RESULT result;  // of the callback
    ReplyFields report;
    std::vector<Delivery> told;
    std::uint32_t answer;
  } rows[] = {
      {"taken", 0, delivery(41, event_bytes(7)), {{wait, {7}, 0}}, 7},
      {"a repetition", 0, delivery(41, event_bytes(7)), {}, 7},
      {"refused", 5, delivery(42, event_bytes(7)), {{wait, {7}, 0}}, 8},
      {"and taken", 0, delivery(42, event_bytes(7)), {{wait, {7}, 0}}, 7},
      {"filtered", 5, delivery(43, event_bytes(8)), {}, 7},
      {"filtered, again", 5, delivery(43, event_bytes(7)), {}, 7},
      {"no events", 5, delivery(44, ""), {}, 7},
      {"broken", 0, delivery(45, bytes("00000001 00")), {{wait, {}, 1}}, 7},
      {"broken, and refused", 5, delivery(46, bytes("00000001 00")), {{wait, {}, 1}}, 8},
      {"an error",
       0,
       {.command = 25, .error = 84, .destination_id = id, .data = event_bytes(7), .reference = 47},
       {{wait, {}, 84}},
       7},
      {"an error of the number before",
       0,
       {.command = 25, .error = 84, .destination_id = id, .reference = 47},
       {{wait, {}, 84}},
       7},
      {"events of the error's number", 0, delivery(47, event_bytes(7)), {}, 7},
      {"the manager's close",
       0,
       {.type = 4, .command = 25, .error = 84, .destination_id = id, .reference = 48},
       {{wait, {}, 17}},
       7},
      {"nobody's", 0, {.command = 25, .destination_id = 0x7FFFFFFF, .data = event_bytes(7), .reference = 49}, {}, 7},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    got.clear();
    in_callback = [&](void*) { return row.result; };
    EXPECT_EQ(std::vector<std::string>{fetch_bytes(row.answer, row.report.reference)}, answers_to({row.report}));
    EXPECT_EQ(row.told, got);
  }
  in_callback = nullptr;
  close_persistent(wait);
  EXPECT_EQ(std::vector<std::string>{fetch_bytes(7, 50)}, answers_to({delivery(50, event_bytes(7))}));  // late
}

TEST_F(WaitTest, TheNumberSurvivesTheWaitWhereTheRegistryHasAKey) {
  ASSERT_EQ(platform::error_none, platform::registry_write(key_of_app, "lastReceiveNumber", 41u));
  for (const char* name : {"app", "keyless"}) {
    SCOPED_TRACE(name);
    const bool remembers = name == std::string("app");
    got.clear();
    for (const std::uint32_t first : {41u, 42u}) {
      void* const wait = open_persistent(name);
      (void)answers_to({delivery(first, event_bytes(1)), delivery(42, event_bytes(2))});
      close_persistent(wait);
    }
    EXPECT_EQ(remembers ? 1u : 3u, got.size());
  }
  EXPECT_FALSE(platform::registry_has_key("Software\\CORVID\\OXBASE\\evWaitKey\\keyless"));
  std::uint32_t number = 0;
  EXPECT_EQ(platform::error_none, platform::registry_read(key_of_app, "lastReceiveNumber", number));
  EXPECT_EQ(42u, number);

  // As a process that dies leaves it: kept, though the wait was not closed; but an edited registry comes first.
  std::vector<void*> abandoned = {open_persistent()};
  (void)answers_to({delivery(43, event_bytes(3))});
  for (const std::uint32_t kept : {43u, 50u}) {
    if (kept == 50) {
      ASSERT_EQ(platform::error_none, platform::registry_write(key_of_app, "lastReceiveNumber", kept));
    }
    got.clear();
    abandoned.push_back(open_persistent());
    (void)answers_to({delivery(kept, event_bytes(3)), delivery(44, event_bytes(4))});
    EXPECT_EQ((std::vector<Delivery>{{abandoned.back(), {4}, 0}}), got);
  }
  for (void* const wait : abandoned) close_persistent(wait);
}

TEST_F(WaitTest, AWaitClosedInItsCallbackGoesWithIt) {
  in_callback = [&](void* wait) -> OX_RESULT {
    peer.answer(reply_bytes({.error = 84}));
    EXPECT_EQ(84u, oxeEventWaitCloseEx(wait));
    EXPECT_EQ(195u, oxeEventWaitCloseEx(wait));
    EXPECT_EQ(0u, oxeEventWaitFilterEx(wait, nullptr));  // still there
    peer.answer(reply_bytes({.type = 6}));
    return 0;
  };
  void* const wait = open_persistent();
  for (const ReplyFields& report : {delivery(41, event_bytes(7)), delivery(42, bytes("00000001 00"))}) {
    got.clear();
    (void)open_persistent();
    ReplyFields own = report;
    own.destination_id = id;
    peer.answer(reply_bytes(own));
    dispatch();
    EXPECT_EQ(1u, got.size());
    EXPECT_EQ(195u, oxeEventWaitCloseEx(got.at(0).wait));
    EXPECT_EQ(fetch_bytes(7, own.reference), peer.requests().back());
  }
  in_callback = nullptr;
  close_persistent(wait);
}

TEST_F(WaitTest, DeliveriesInsideACallbackArePutOff) {
  void* const other = open_persistent("other");
  const std::uint32_t other_id = id;
  void* const wait = open_persistent();
  const ReplyFields for_other = {.command = 25, .destination_id = other_id, .data = event_bytes(8), .reference = 42};
  in_callback = [&](void* told) -> OX_RESULT {
    if (told == other || got.size() > 1) return 0;
    // The manager sends what was not taken again; this loop gives up then. An error is told all the same, to the wait
    // whose callback this is, which is closed in it.
    peer.answer(reply_bytes({.command = 25, .error = 84, .destination_id = id, .reference = 7}));
    for (const ReplyFields& report : {for_other, delivery(43, event_bytes(9)), for_other})
      peer.answer(reply_bytes(report));
    dispatch();
    EXPECT_EQ((std::vector<std::string>{fetch_bytes(), fetch_bytes(), fetch_bytes(7, 7), fetch_bytes(), fetch_bytes()}),
              peer.requests());
    peer.answer(reply_bytes({}));
    EXPECT_EQ(0u, oxeEventWaitCloseEx(wait));
    (void)peer.requests();
    peer.answer(reply_bytes(for_other));  // of the outer loop
    peer.answer(reply_bytes(delivery(43, event_bytes(9))));
    peer.answer(reply_bytes({.type = 6}));
    return 0;
  };
  peer.answer(reply_bytes(delivery(41, event_bytes(7))));
  dispatch();
  EXPECT_EQ((std::vector<Delivery>{{wait, {7}, 0}, {wait, {}, 84}, {other, {8}, 0}}), got);
  EXPECT_EQ((std::vector<std::string>{fetch_bytes(7, 41), fetch_bytes(7, 42), fetch_bytes(7, 43)}), peer.requests());
  close_persistent(other);
}

TEST_F(WaitTest, EveryAllocationMayFail) {
  peer.otherwise(reply_bytes({}));
  evflt* const filter = filter_of(7);
  every_allocation_may_fail([&] {
    void* wait = nullptr;
    OX_RESULT result = oxeEventWaitOpen("mgr", 0, note, this, &wait);
    if (result != 0) return result;
    result = oxeEventWaitFilter(wait, filter);
    const OX_RESULT closed = oxeEventWaitClose(wait);
    return result != 0 ? result : closed;
  });
  every_allocation_may_fail([&] {
    void* wait = nullptr;
    OX_RESULT result = oxeEventWaitOpenEx("app", note, this, &wait);
    if (result != 0) return result;
    result = oxeEventWaitFilterEx(wait, filter);
    const OX_RESULT closed = oxeEventWaitCloseEx(wait);
    return result != 0 ? result : closed;
  });
  oxeEvfltFree(filter);
}

}  // namespace
}  // namespace ox::test
