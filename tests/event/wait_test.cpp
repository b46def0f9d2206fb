// Waits: what opens and closes them, and what their callbacks are told.
#include <stdexcept>

#include "platform/environment.h"
#include "platform/registry.h"
#include "tests/event/event_text.h"
#include "tests/support/fault_heap.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

// The list of one node whose value is these bytes.
std::string value_bytes(std::string_view value) {
  return half(0x40) + half(OX_OPAQUE) + word(static_cast<std::uint32_t>(value.size())) + std::string(value);
}

class WaitTest : public ReportTest {
 protected:
  static OX_RESULT OX_CALL note(void* wait, std::uint32_t reserved, void* argument, evmsg* list, OX_RESULT code) {
    auto* const self = static_cast<WaitTest*>(argument);
    EXPECT_EQ(0u, reserved);
    EXPECT_EQ(list == nullptr, code != 0);
    self->told += '[' + (code != 0 ? '!' + std::to_string(code) : ids(list)) + ']';
    oxeEvmsgFree(list);
    return self->in_callback ? self->in_callback(wait) : OX_RESULT{OX_OK};
  }
  static void OX_CALL note_icon(void*, void* argument, const char* component, const char* name, std::uint32_t status,
                                OX_RESULT code) {
    static_cast<WaitTest*>(argument)->told += std::string(component != nullptr ? component : "-") + ' ' +
                                              (name != nullptr ? name : "-") + ' ' + std::to_string(status) + '!' +
                                              std::to_string(code);
  }

  using Open = std::function<OX_RESULT(void**)>;
  void* opened(const Open& open) {
    peer.answer(reply_bytes({.source_id = 0x80000044}));
    void* wait = nullptr;
    EXPECT_EQ(0u, open(&wait));
    take_id();
    return wait;
  }
  void* open_plain() {
    return opened([&](void** wait) { return oxeEventWaitOpen("mgr", 0x1234, note, this, wait); });
  }
  void* open_persistent(const char* name = "app") {
    return opened([&](void** wait) { return oxeEventWaitOpenEx(name, note, this, wait); });
  }
  void close_persistent(void* wait, std::function<void()> before_answer = {}) {
    peer.answer(Answer{{reply_bytes({})}, false, std::move(before_answer)});
    EXPECT_EQ(0u, oxeEventWaitCloseEx(wait));
    (void)peer.requests();
  }
  static ReplyFields delivery(std::uint32_t number, std::string data, std::uint32_t to = 0) {
    return {.command = 25, .destination_id = to, .data = std::move(data), .reference = number};
  }

  std::string told;  // "[7 8]" for two events, "[!84]" for an error
  std::function<OX_RESULT(void* wait)> in_callback;
};

evflt* filter_of(std::uint32_t id) {
  evflt* const filter = oxeEvfltAlloc();
  oxeEvfltSet(filter, OX_EVFLT_SNDID, id);
  return filter;
}

TEST_F(WaitTest, OpeningAndClosing) {
  const std::string mgr("mgr\0", 4);
  const std::string map(63, 'm');
  const std::string name(64, 'n');
  const auto watched = [](const std::string& component, const char* path) {
    return text(component) + text(path) + word(64) + word(0) + half(0);
  };
  const auto check = [&](const Open& open, RequestFields opening, auto close, const RequestFields& closing) {
    SCOPED_TRACE(opening.body);
    void* const wait = opened(open);
    void* refused = nullptr;
    EXPECT_NE(0u, opening.source = id);
    EXPECT_EQ(request_bytes(opening), sent);
    EXPECT_EQ(5001u, elsewhere([&] { return open(&refused); }));
    EXPECT_EQ(5001u, elsewhere([&] { return close(wait); }));
    EXPECT_EQ(5001u, elsewhere([&] { return oxeEventWaitFilter(wait, nullptr); }));
    EXPECT_EQ(5001u, elsewhere([&] { return oxeEventWaitFilterEx(wait, nullptr); }));
    EXPECT_EQ(nullptr, refused);
    peer.answer(reply_bytes({.error = 63}));
    EXPECT_EQ(63u, close(wait));  // with the wait gone
    EXPECT_EQ(std::vector<std::string>{request_bytes(closing)}, peer.requests());
    EXPECT_EQ(closing.command == 26 ? 195u : 1u, close(wait));
    EXPECT_EQ(1u, oxeEventWaitFilter(wait, nullptr));
    EXPECT_EQ(1u, oxeEventWaitFilterEx(wait, nullptr));
  };
  check([&](void** wait) { return oxeEventWaitOpen("mgr", 0, note, this, wait); },
        {.command = 2, .session = mgr, .body = watched("system:system", "sysmib.oxMessage.oxEventMessage2.0")},
        oxeEventWaitClose, {.command = 6, .session = mgr, .source = 0x80000044});
  check([&](void** wait) { return oxeTrapWaitOpen("mgr", 0, note, this, wait); },
        {.command = 2, .session = mgr, .body = watched("system:system", "sysmib.oxMessage.oxTrapMessage.0")},
        oxeEventWaitClose, {.command = 6, .session = mgr, .source = 0x80000044});
  check([&](void** wait) { return oxeEventIconWaitOpen(nullptr, map.c_str(), note_icon, this, wait); },
        {.command = 2, .body = watched("map:" + map, "obj.map.mapIconStatus.0,obj.map.mapIconName.0")},
        oxeEventIconWaitClose, {.command = 6, .source = 0x80000044});
  check([&](void** wait) { return oxeEventWaitOpenEx(name.c_str(), note, this, wait); },
        {.command = 25, .body = name + '\0'}, oxeEventWaitCloseEx, {.command = 26, .destination = 0x80000044});

  void* wait = this;
  peer.answer(reply_bytes({.error = 6}));
  EXPECT_EQ(6u, oxeEventWaitOpenEx("app", note, this, &wait));
  EXPECT_EQ(nullptr, wait);
  (void)peer.requests();
  const std::pair<OX_RESULT, OX_RESULT> refused[] = {
      {1, oxeEventWaitOpen("mgr", 0, nullptr, this, &wait)},
      {1, oxeTrapWaitOpen("mgr", 0, note, this, nullptr)},
      {70, oxeEventIconWaitOpen(nullptr, nullptr, note_icon, this, &wait)},
      {59, oxeEventIconWaitOpen(nullptr, (map + 'm').c_str(), note_icon, this, &wait)},
      {195, oxeEventWaitOpenEx(nullptr, note, this, &wait)},
      {195, oxeEventWaitOpenEx("", note, this, &wait)},
      {195, oxeEventWaitOpenEx("app", note, this, nullptr)},
      {418, oxeEventWaitOpenEx((name + 'n').c_str(), note, this, &wait)},
      {1, oxeEventWaitOpenEx("app", nullptr, this, &wait)},
  };
  for (const auto& [wanted, result] : refused) EXPECT_EQ(wanted, result);
  EXPECT_TRUE(peer.requests().empty());
  session().close();
  EXPECT_EQ(14u, oxeEventWaitOpenEx("app", note, this, &wait));
}

TEST_F(WaitTest, WhatPlainAndIconWaitsAreTold) {
  void* const icons = opened([&](void** wait) { return oxeEventIconWaitOpen(nullptr, "map", note_icon, this, wait); });
  const std::uint32_t icon = id;
  void* const plain = open_plain();
  evflt* const filter = filter_of(7);
  const std::string sevens = value_bytes(event_bytes({7, 8}));
  const std::string eights = value_bytes(event_bytes({8, 7}));
  const std::string status = bytes("0045 0004 'top' 00 0009 '11.2.5.0' 00 0001 00000004 00000003");
  const std::string name = bytes("0045 0004 'top' 00 0009 '11.2.4.0' 00 0009 00000004 'r12' 00");
  const std::string opaque = bytes("0044 0009 '11.2.4.0' 00 000C 00000003 'r12'");
  const struct {
    const char* what;
    const evflt* filter;
    ReplyFields report;
    const char* told;
  } rows[] = {
      {"the first passes", filter, {.data = sevens}, "[7 8]"},
      {"the first fails", filter, {.data = eights}, ""},
      {"the filter is taken away", nullptr, {.data = eights}, "[8 7]"},
      {"no events", nullptr, {.data = value_bytes("")}, ""},
      {"broken events", nullptr, {.data = value_bytes(bytes("00000001 00"))}, "[!1]"},
      {"a broken node", nullptr, {.data = bytes("0040 00")}, ""},  // the request's own matter
      {"a node with an error", nullptr, {.data = bytes("0020 0054")}, "[!84]"},
      {"a node with nothing", nullptr, {.data = bytes("0000")}, "[!32]"},
      {"no node", nullptr, {}, "[!32]"},
      {"an error", filter, {.error = 84, .data = sevens}, "[!84]"},
      {"three nodes", filter, {.data = value_bytes(event_bytes({7})) + eights + sevens}, "[7][7 8]"},
      {"another machine's manager is gone", nullptr, {.type = 4}, "[!166]"},
      {"name first", nullptr, {.destination_id = icon, .data = name + status}, "top r12 3!0"},
      {"no name", nullptr, {.destination_id = icon, .data = status}, "top - 3!0"},
      {"a name of another type", nullptr, {.destination_id = icon, .data = opaque}, "- - 0!0"},
      {"no icon", nullptr, {.destination_id = icon}, "- - 0!0"},
      {"an icon's error", nullptr, {.error = 84, .destination_id = icon, .data = status + name}, "- - 0!84"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    EXPECT_EQ(0u, oxeEventWaitFilter(plain, row.filter));
    ReplyFields report = row.report;
    report.command = 2;
    deliver({report});
    EXPECT_EQ(row.told, std::exchange(told, ""));
  }
  oxeEvfltFree(filter);
  EXPECT_EQ(0u, oxeEventWaitClose(plain));
  EXPECT_EQ(1u, oxeEventWaitClose(icons));  // of the other kind
  peer.answer(reply_bytes({}));
  EXPECT_EQ(0u, oxeEventIconWaitClose(icons));
}

TEST_F(WaitTest, APlainWaitsCallbackClosesItAndOpensAnother) {
  void* second = nullptr;
  in_callback = [&](void* wait) -> OX_RESULT {
    EXPECT_EQ(0u, oxeEventWaitClose(wait));
    EXPECT_EQ(1u, oxeEventWaitClose(wait));
    second = open_plain();
    return 0;
  };
  (void)open_plain();
  // The second node is the closed wait's: the new one, at the same address perhaps, does not get it.
  answer({.command = 2, .data = value_bytes(event_bytes({1})) + value_bytes(event_bytes({2}))});
  peer.otherwise(nothing);
  dispatch();
  EXPECT_EQ("[1]", told);
  EXPECT_EQ(0u, oxeEventWaitClose(second));
}

TEST_F(WaitTest, EachDeliveryIsTakenOrRefusedByItsNumber) {
  void* const wait = open_persistent();
  evflt* const filter = filter_of(7);
  EXPECT_EQ(0u, oxeEventWaitFilterEx(wait, filter));
  oxeEvfltFree(filter);
  const std::string seven = event_bytes({7});
  const std::string broken = bytes("00000001 00");
  const ReplyFields error = {.command = 25, .error = 84, .data = seven, .reference = 47};
  const struct {
    const char* what;
    OX_RESULT result;  // of the callback
    ReplyFields report;
    const char* told;
    std::uint32_t answer;
  } rows[] = {
      {"taken", 0, delivery(41, seven), "[7]", 7},
      {"a repetition", 0, delivery(41, seven), "", 7},
      {"refused", 5, delivery(42, seven), "[7]", 8},
      {"and taken", 0, delivery(42, seven), "[7]", 7},
      {"filtered", 5, delivery(43, event_bytes({8})), "", 7},
      {"filtered, again", 5, delivery(43, seven), "", 7},
      {"no events", 5, delivery(44, ""), "", 7},
      {"broken, and refused", 5, delivery(46, broken), "[!1]", 8},
      {"an error", 0, error, "[!84]", 7},
      {"an error of the number before", 0, error, "[!84]", 7},
      {"events of the error's number", 0, delivery(47, seven), "", 7},
      {"the manager's close", 0, {.type = 4, .command = 25, .error = 84, .reference = 48}, "[!17]", 7},
      {"nobody's", 0, delivery(49, seven, 0x7FFFFFFF), "", 7},
      {"late", 0, delivery(50, seven), "", 7},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    if (row.report.reference == 50) close_persistent(wait);
    (void)peer.requests();
    in_callback = [&](void*) { return row.result; };
    deliver({row.report});
    EXPECT_EQ((std::vector{fetch_bytes(), fetch_bytes(row.answer, row.report.reference)}), peer.requests());
    EXPECT_EQ(row.told, std::exchange(told, ""));
  }
}

TEST_F(WaitTest, TheNumberSurvivesTheWaitWhereItHasAPlace) {
  const char* const key = "Software\\CORVID\\OXBASE\\evWaitKey\\app";
  const bool needs_key = platform::RegistryNumber().open("no such key", "value") != platform::error_none;
  const struct {
    const char* name;
    std::uint32_t edited;  // the number in the registry, from without; 0: left alone
    std::uint32_t numbers[2];
    const char* told;
    bool close;  // else it stays, as a process that dies leaves it
  } rows[] = {
      {"app", 41, {41, 42}, "[42]", true},        {"app", 0, {42, 42}, "", true},
      {"keyless", 0, {41, 42}, "[41][42]", true}, {"keyless", 0, {42, 42}, needs_key ? "[42]" : "", true},
      {"app", 0, {43, 44}, "[43][44]", false},    {"app", 0, {44, 45}, "[45]", false},
      {"app", 50, {50, 46}, "[46]", false},
  };
  std::vector<void*> abandoned;
  const auto kept = [key] {
    std::uint32_t number = 0;
    platform::RegistryNumber mark;
    return mark.open(key, "lastReceiveNumber") == platform::error_none && mark.read(number) == platform::error_none
               ? number
               : 0;
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.name << ' ' << row.numbers[0]);
    if (row.edited != 0) {
      ASSERT_EQ(platform::error_none, platform::registry_write(key, "lastReceiveNumber", row.edited));
    }
    void* const wait = open_persistent(row.name);
    for (const std::uint32_t number : row.numbers) {
      deliver({delivery(number, event_bytes({number}))});
      peer.answer(reply_bytes({.error = 207}));  // another who would open it gets nothing, and spoils nothing
      void* refused = nullptr;
      EXPECT_EQ(207u, oxeEventWaitOpenEx(row.name, note, this, &refused));
    }
    EXPECT_EQ(row.told, std::exchange(told, ""));
    if (row.close) {  // the name is free for another process when the manager answers
      close_persistent(wait, [&] { EXPECT_EQ(42u, kept()); });
    } else {
      abandoned.push_back(wait);
    }
  }
  EXPECT_FALSE(platform::registry_has_key("Software\\CORVID\\OXBASE\\evWaitKey\\keyless"));
  for (void* const wait : abandoned) close_persistent(wait);
  EXPECT_EQ(46u, kept());
}

TEST_F(WaitTest, DeliveriesInsideACallbackArePutOff) {
  void* const other = open_persistent("other");
  const ReplyFields for_other = delivery(42, event_bytes({8}), id);
  void* const wait = open_persistent();
  (void)peer.requests();
  in_callback = [&](void* running) -> OX_RESULT {
    EXPECT_EQ(told == "[7][!84][8]" ? other : wait, running);
    if (told == "[7][!84]") {
      EXPECT_EQ(0u, oxeEventWaitCloseEx(wait));
    }
    if (told != "[7]") return 0;
    // An error is told all the same, to the wait whose callback this is, and closes it there. The manager sends what
    // was not taken again; this loop gives up then.
    answer({.command = 25, .error = 84, .reference = 7});
    peer.answer(reply_bytes({}));  // of the closing
    for (const ReplyFields& report : {for_other, delivery(43, event_bytes({9})), for_other}) answer(report);
    EXPECT_EQ(0u, oxaDispatch(10000));
    answer(for_other);  // of the outer loop
    answer(delivery(43, event_bytes({9})));
    peer.answer(nothing);
    return 0;
  };
  answer(delivery(41, event_bytes({7})));
  dispatch();
  EXPECT_EQ("[7][!84][8]", told);
  std::vector<std::string> requests = peer.requests();
  requests.erase(requests.begin() + 2);  // the closing
  EXPECT_EQ((std::vector{fetch_bytes(), fetch_bytes(), fetch_bytes(7, 7), fetch_bytes(), fetch_bytes(),
                         fetch_bytes(7, 41), fetch_bytes(7, 42), fetch_bytes(7, 43)}),
            requests);
  close_persistent(other);
}

TEST_F(WaitTest, ALostConnectionIsToldAndTheNextGoesOn) {
  void* const plain = open_plain();
  const std::string plain_registration = sent;
  const std::uint32_t plain_id = id;
  void* const wait = open_persistent();
  const std::vector registrations{plain_registration, sent};
  deliver({delivery(41, event_bytes({7}))});
  const auto lose = [&] {
    told.clear();
    peer.hang_up();
    while (oxaDispatch(10000) == 0) {
    }
    EXPECT_EQ("[!17][!17]", std::exchange(told, ""));
  };
  for (const std::uint32_t refused : {207u, 0u}) {
    lose();
    (void)peer.requests();
    peer.answer(reply_bytes({.source_id = 0x71}));
    peer.answer(reply_bytes({.error = refused, .source_id = 0x72}));
    ASSERT_EQ(0u, oxaInit(nullptr));
    EXPECT_EQ(registrations, peer.requests());
    EXPECT_EQ("", told);
    EXPECT_EQ(0u, oxaDispatch(0));
    EXPECT_EQ(refused != 0 ? "[!207]" : "", told);
  }
  deliver({{.command = 2, .error = 84, .destination_id = plain_id}, delivery(41, event_bytes({7}))});
  EXPECT_EQ("[!84]", told) << "what has been taken is known on every connection";
  deliver({delivery(42, event_bytes({8}))});
  EXPECT_EQ("[!84][8]", told);
  (void)peer.requests();
  peer.answer(reply_bytes({.error = 1}));
  EXPECT_EQ(0u, oxeEventWaitClose(plain));
  EXPECT_EQ(request_bytes({.command = 6, .session = std::string("mgr\0", 4), .source = 0x71}), peer.requests().back());
  peer.hang_up();
  while (oxaDispatch(10000) == 0) {
  }
  EXPECT_EQ(14u, oxeEventWaitCloseEx(wait));
  EXPECT_EQ(195u, oxeEventWaitCloseEx(wait));
}

// What an exception costs is one delivery: it is refused and logged, and the next ones are delivered.
TEST_F(WaitTest, AnExceptionRefusesItsDelivery) {
  write_file(system_root() + "/system.log", "");
  void* const plain = open_plain();
  const std::uint32_t plain_id = id;
  void* const wait = open_persistent();
  in_callback = [&](void*) -> OX_RESULT {
    if (told.ends_with("[7]")) throw std::runtime_error("of the application");
    if (told.ends_with("[8]")) throw 8;
    return 0;
  };
  (void)peer.requests();
  const std::string seven_and_nine = value_bytes(event_bytes({7})) + value_bytes(event_bytes({9}));
  deliver({delivery(41, event_bytes({7})),
           delivery(41, event_bytes({8})),
           delivery(41, event_bytes({9})),
           {.command = 2, .destination_id = plain_id, .data = seven_and_nine}});
  EXPECT_EQ("[7][8][9][7][9]", told);
  EXPECT_EQ((std::vector{fetch_bytes(), fetch_bytes(8, 41), fetch_bytes(8, 41), fetch_bytes(7, 41), fetch_bytes()}),
            peer.requests());
  const std::string log = read_text(system_root() + "/system.log");
  const std::size_t known = log.find("which has to catch it: of the application");
  const std::size_t unknown = log.find("which has to catch it: of an unknown kind");
  EXPECT_TRUE(known != log.npos && known < unknown && unknown != log.npos) << log;
  close_persistent(wait);
  peer.answer(reply_bytes({.error = 1}));
  EXPECT_EQ(0u, oxeEventWaitClose(plain));
}

// A delivery that has been fetched when its wait is closed was never seen: refused, it comes to the next of the name.
TEST_F(WaitTest, AKeptDeliveryOfAClosedWaitIsRefused) {
  void* const wait = open_persistent();
  in_callback = [&](void*) -> OX_RESULT {
    platform::sleep_ms(20);
    return 0;
  };
  for (const std::uint32_t number : {41, 42}) answer(delivery(number, event_bytes({number})));
  peer.announce();
  while (told.empty()) EXPECT_EQ(0u, oxaDispatch(10));  // ms
  close_persistent(wait);
  peer.answer(nothing);
  EXPECT_EQ(0u, oxaDispatch(10000));
  EXPECT_EQ("[41]", told);
  EXPECT_EQ(fetch_bytes(8, 42), peer.requests().back());
}

// The new manager knows nothing of a callback that began before: what comes meanwhile is refused, and the callback's
// answer is not sent.
TEST_F(WaitTest, ACallbackOutlivesItsConnection) {
  void* const wait = open_persistent();
  in_callback = [&](void*) -> OX_RESULT {
    peer.answer(reply_bytes({.source_id = 0x45}));  // of the registration
    open_anew();
    (void)peer.requests();
    deliver({delivery(41, event_bytes({7}))});
    EXPECT_EQ((std::vector{fetch_bytes(), fetch_bytes(8, 41)}), peer.requests());
    return 0;
  };
  answer(delivery(41, event_bytes({7})));
  dispatch();
  EXPECT_TRUE(peer.requests().empty());
  deliver({delivery(41, event_bytes({7}))});
  EXPECT_EQ("[7]", told);
  EXPECT_EQ((std::vector{fetch_bytes(), fetch_bytes(7, 41)}), peer.requests());
  close_persistent(wait);
}

TEST_F(WaitTest, EveryAllocationMayFail) {
  peer.otherwise(reply_bytes({}));
  evflt* const filter = filter_of(7);
  void* wait = nullptr;
  const auto try_all = [&](auto open, auto set_filter, auto close) {
    every_allocation_may_fail([&] {
      OX_RESULT result = open();
      if (result != 0) return result;
      result = set_filter(wait, filter);
      const OX_RESULT closed = close(wait);
      return result != 0 ? result : closed;
    });
  };
  try_all([&] { return oxeEventWaitOpen("mgr", 0, note, this, &wait); }, oxeEventWaitFilter, oxeEventWaitClose);
  try_all([&] { return oxeEventWaitOpenEx("app", note, this, &wait); }, oxeEventWaitFilterEx, oxeEventWaitCloseEx);
  oxeEvfltFree(filter);
}

}  // namespace
}  // namespace ox::test
