#include <asio/post.hpp>
#include <thread>

#include "tests/manager/event_fixture.h"
#include "tests/support/blocks.h"
#include "tests/support/fault_heap.h"
#include "tests/support/system_root.h"

namespace ox::manager {
namespace {

class EventRequestTest : public EventManagerTest {
 protected:
  // A criterion's bit, and its number or pattern.
  using Criteria = std::vector<std::pair<std::uint32_t, std::uintptr_t>>;
  static std::uintptr_t pattern(const char* text) { return reinterpret_cast<std::uintptr_t>(text); }

  static Message log_get(const Criteria& criteria) {
    const FilterPtr filter(oxeEvfltAlloc());
    for (const auto& [bit, value] : criteria) EXPECT_EQ(0u, oxeEvfltSet(filter.get(), bit, value));
    std::string body;
    EXPECT_EQ(0u, test::take_block([&](auto... out) { return oxeEvfltEncode(filter.get(), out...); }, &body));
    return {.type = 1, .command = 15, .data = bytes_of(body)};
  }
  // The memos of what is found, or the error.
  std::string logged(const Criteria& criteria = {}) {
    const Reply reply = ask(log_get(criteria));
    return reply.error != 0 ? std::to_string(reply.error) : memos(reply.data);
  }

  // So many events of `size` bytes, with memos that begin with a and b in turn.
  void fill(int count, std::size_t size, Origin origin = 0, std::uint32_t level = 1) {
    for (int i = 0; i < count; ++i) {
      EventPtr event(oxeEvmsgAlloc());
      (void)oxeEvmsgSetEventType(event.get(), OX_EVENT_LEVELLED | level);
      (void)oxeEvmsgSetMemo(event.get(), (std::string(i % 2 == 0 ? "a" : "b") + std::string(size, 'x')).c_str());
      manager_->events.submit(std::move(event), "me", origin,
                              [](OX_RESULT result, const Bytes&) { EXPECT_EQ(0u, result); });
    }
    manager_->events.flush();
  }
  // What goes in steps.
  void finish_work() {
    loop_.restart();
    (void)loop_.poll();
  }
  // The bodies of the log's events with those numbers.
  Bytes bodies(Sequence first, Sequence last, Sequence step) {
    Bytes all;
    for (Sequence sequence = first; sequence <= last; sequence += step) {
      std::optional<StoredEvent> event;
      (void)manager_->events.store().get(sequence, event);
      if (event) all.insert(all.end(), event->body.begin(), event->body.end());
    }
    return all;
  }
  static Bytes whole(const Reply& reply) {
    Bytes all = reply.data;
    const Bytes rest = rest_of(reply);
    all.insert(all.end(), rest.begin(), rest.end());
    return all;
  }
  // Whether nobody looks at the log as it was, soon: what moves its changes into the database stands in the way, too.
  static bool log_is_free(int tries = 1000) {
    Connection connection;
    EXPECT_EQ(Outcome::done, connection.open(test::work_dir() + "/data/events.db", Durability::process));
    while (connection.ask("PRAGMA wal_checkpoint(TRUNCATE)") != 0) {
      if (--tries == 0) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
  }
};

TEST_F(EventRequestTest, EventsAreNumberedAndCompleted) {
  const std::uint32_t handle = open_handle();
  EventPtr completed;
  const auto send = [&](const Fill& fill) {
    const Reply reply = ask(1, 12, event(fill), 1, handle);
    EXPECT_EQ(0u, reply.error);
    EXPECT_EQ(0u, decode_events(reply.data, completed));
    return text_of(completed.get(), &oxeEvmsgGetSender) + ' ' +
           std::to_string(number_of(completed.get(), &oxeEvmsgGetSndId)) + ' ' +
           std::to_string(number_of(completed.get(), &oxeEvmsgGetEventId));
  };
  EXPECT_EQ("prog 1 1", send([](evmsg*) {}));
  EXPECT_EQ(oxcGetMyComm(), text_of(completed.get(), &oxeEvmsgGetCommName));
  EXPECT_NE(0u, number_of(completed.get(), &oxeEvmsgGetOccurTime));
  EXPECT_EQ("other 2 7", send([](evmsg* made) {
              (void)oxeEvmsgSetSndId(made, 99);  // the manager gives its own
              (void)oxeEvmsgSetSender(made, "other");
              (void)oxeEvmsgSetEventId(made, 7);
              (void)oxeEvmsgSetOccurTime(made, 5);
            }));
  EXPECT_EQ(5u, number_of(completed.get(), &oxeEvmsgGetOccurTime));

  EXPECT_EQ(OX_EUNSUPPORTED, ask(1, 12, event([](evmsg*) {}), 2, handle).error) << "another session's handle";
  EXPECT_EQ(OX_EINCOMPLETE, ask(1, 12, "", 1, handle).error);
  EXPECT_EQ(OX_EARG, ask(1, 12, Bytes(3), 1, handle).error);
  EXPECT_EQ(0u, ask(1, 11, "", 1, handle).error);
  EXPECT_EQ(OX_EUNSUPPORTED, ask(1, 11, "", 1, handle).error);
  EXPECT_EQ(OX_EUNSUPPORTED, ask(1, 12, event([](evmsg*) {}), 1, handle).error);
  restart();
  EXPECT_EQ(3u, post("after the restart"));
}

TEST_F(EventRequestTest, LogIsSearchedAndMarked) {
  EXPECT_EQ("122", logged());
  for (const char* memo : {"a1", "b1", "a2", "b2", "a3"}) (void)post(memo);
  const struct {
    Criteria criteria;
    const char* found;
  } cases[] = {
      {{}, "a1 b1 a2 b2 a3"},
      {{{OX_EVFLT_MEMO, pattern("a*")}}, "a1 a2 a3"},
      {{{OX_EVFLT_FIRST, 2}}, "a1 b1"},
      {{{OX_EVFLT_LAST, 2}}, "b2 a3"},
      {{{OX_EVFLT_MEMO, pattern("b*")}, {OX_EVFLT_LAST, 1}}, "b2"},
      {{{OX_EVFLT_LAST, 9}}, "a1 b1 a2 b2 a3"},
      {{{OX_EVFLT_SNDID, 4}}, "b2"},
      {{{OX_EVFLT_MEMO, pattern("c*")}}, "122"},
  };
  for (const auto& c : cases) EXPECT_EQ(c.found, logged(c.criteria));
  EXPECT_EQ(OX_EARG, ask(1, 15, Bytes(2)).error);

  const Criteria checked = {{OX_EVFLT_FLAGBIT1, 1}};
  Bytes two = with_id(2);
  const Bytes four = with_id(4);
  two.insert(two.end(), four.begin(), four.end());
  EXPECT_EQ(0u, ask(1, 16, two).error);
  EXPECT_EQ("b1 b2", logged(checked));
  EXPECT_EQ(0u, ask(1, 17, with_id(2)).error);
  EXPECT_EQ("b2", logged(checked));
  EXPECT_EQ(0u, ask(1, 19, event([](evmsg* made) {
                      (void)oxeEvmsgSetSndId(made, 1);
                      (void)oxeEvmsgSetMemo(made, "changed");
                    }))
                    .error);
  EXPECT_EQ(0u, ask(1, 18, two).error);
  EXPECT_EQ("changed a2 a3", logged());
  for (const std::uint32_t command : {16, 17, 18, 19}) {
    EXPECT_EQ(OX_ENOTFOUND, ask(1, command, with_id(4)).error) << command;
    EXPECT_EQ(OX_EABSENT, ask(1, command, event([](evmsg*) {})).error) << command;
    EXPECT_EQ(OX_EINCOMPLETE, ask(1, command, "").error) << command;
  }
  restart();
  EXPECT_EQ("changed a2 a3", logged());
}

TEST_F(EventRequestTest, OthersAreServedWhileManyEventsAreDeleted) {
  constexpr int many = 20000;
  fill(many, 1);
  Bytes all;
  for (std::uint32_t id = 1; id <= many; ++id) {
    const Bytes one = with_id(id);
    all.insert(all.end(), one.begin(), one.end());
  }
  std::string answers;
  const auto request = [&](std::uint32_t command, Bytes data, const char* name) {
    const auto reply = [&answers, name](const Reply& made) { answers += name + std::to_string(made.error) + ' '; };
    route(*manager_, {1, {.type = 1, .command = command, .data = std::move(data)}, reply, Rights::of_manager()});
  };
  request(18, all, "delete ");
  asio::post(loop_, [&] { request(15, {}, "get "); });
  while (loop_.poll_one() != 0 && answers.find("delete") == std::string::npos) {
  }
  EXPECT_EQ("get 1 delete 0 ", answers);
  EXPECT_EQ("122", logged());
}

TEST_F(EventRequestTest, ALongAnswerIsMadeWhileItIsTaken) {
  fill(400, 1000);
  const struct {
    Criteria criteria;
    Sequence first, last, step;
  } cases[] = {
      {{}, 1, 400, 1},
      {{{OX_EVFLT_FIRST, 300}}, 1, 300, 1},
      {{{OX_EVFLT_LAST, 300}}, 101, 400, 1},
      {{{OX_EVFLT_MEMO, pattern("b*")}}, 2, 400, 2},
      {{{OX_EVFLT_MEMO, pattern("a*")}, {OX_EVFLT_FIRST, 100}}, 1, 199, 2},
      {{{OX_EVFLT_MEMO, pattern("a*")}, {OX_EVFLT_LAST, 100}}, 201, 399, 2},
      {{{OX_EVFLT_LAST, 1000}}, 1, 400, 1},
  };
  for (const auto& c : cases) {
    const Reply reply = begin_to_ask(log_get(c.criteria));
    ASSERT_TRUE(reply.rest);
    const Bytes expected = bodies(c.first, c.last, c.step);
    EXPECT_EQ(expected.size(), reply.data.size() + reply.rest->left());
    EXPECT_LT(reply.data.size(), 65537u);
    Bytes piece;
    EXPECT_TRUE(reply.rest->take(piece));
    EXPECT_LT(piece.size(), 70000u);
    Bytes all = reply.data;
    for (const Bytes& part : {piece, rest_of(reply)}) all.insert(all.end(), part.begin(), part.end());
    EXPECT_TRUE(expected == all) << c.first << ' ' << c.last << ' ' << c.step;
    EXPECT_TRUE(log_is_free());
  }
}

TEST_F(EventRequestTest, ALongAnswerIsOfTheMomentWhenItWasAskedFor) {
  fill(400, 1000);
  const Reply first = begin_to_ask(log_get({}));
  const Bytes before = bodies(1, 400, 1);
  EXPECT_EQ(0u, ask(1, 18, with_id(200)).error);
  EXPECT_EQ(0u, ask(1, 13, with_id(201), 1, open_handle()).error);
  EXPECT_EQ(0u, ask(1, 16, with_id(300)).error);
  (void)post("later");
  const Reply second = begin_to_ask(log_get({}), 2);
  Bytes after = bodies(1, 199, 1);
  const Bytes others = bodies(202, 401, 1);
  after.insert(after.end(), others.begin(), others.end());
  EXPECT_FALSE(log_is_free(1));
  EXPECT_TRUE(before == whole(first));
  EXPECT_TRUE(after == whole(second));
  EXPECT_TRUE(log_is_free());
}

TEST_F(EventRequestTest, ASearchEndsWithItsClientAndItsTime) {
  fill(5000, 1000);
  bool answered = false;
  const Message everything = log_get({{OX_EVFLT_LAST, 5000}});
  route(*manager_, {1, everything, [&](const Reply&) { answered = true; }, Rights::of_manager()});
  EXPECT_FALSE(log_is_free(1));
  manager_->end_session(1);
  finish_work();
  EXPECT_TRUE(!answered && log_is_free()) << "while it was counted";

  Reply reply = begin_to_ask(everything);
  Bytes piece;
  EXPECT_TRUE(reply.rest->take(piece));
  manager_->end_session(1);
  EXPECT_FALSE(reply.rest->take(piece));
  reply = {};
  EXPECT_TRUE(log_is_free()) << "while it was read";

  manager_->settings.event_log_timeout = 2;
  reply = begin_to_ask(everything);
  ASSERT_TRUE(reply.rest && reply.rest->take(piece));
  loop_.restart();
  loop_.run_for(std::chrono::milliseconds(2100));
  EXPECT_TRUE(!reply.rest->take(piece) && log_is_free());
  EXPECT_NE(std::string::npos, reply.rest->fault().find("EventLogTimeout")) << reply.rest->fault();
}

TEST_F(EventRequestTest, ADamagedLogHasNoShorterAnswer) {
  fill(400, 1000);
  std::string told;
  ASSERT_TRUE(manager_->events.open([&](auto&, std::uint32_t, const std::string& text) { told += text; }));
  Reply reply = begin_to_ask(log_get({}));
  EXPECT_EQ(0u, watch("system:system", "sysmib.oxMessage.oxEventMessage2.0", 11, 2).error);
  manager_->events.renew();  // with somebody looking at it
  Bytes piece;
  EXPECT_FALSE(reply.rest->take(piece));
  Sequence meanwhile = 0;
  EventPtr late(oxeEvmsgAlloc());
  (void)oxeEvmsgSetMemo(late.get(), "late");
  meanwhile = manager_->events.submit(std::move(late), "me", 0, [](OX_RESULT result, auto&) { EXPECT_EQ(0u, result); })
                  ->sequence;
  EXPECT_EQ(401u, meanwhile);
  manager_->events.set_mark("mark", {.taken = 7, .seen = 1});
  EXPECT_EQ("nothing", fetch(2));
  Bytes all = bodies(1, 400, 1);
  EXPECT_TRUE(all.empty()) << "nothing reads";
  const Bytes found = ask(log_get({})).data;
  all = bodies(1, 401, 1);
  EXPECT_TRUE(!all.empty() && all == found);
  EXPECT_EQ("2>11 late", fetch(2));
  EXPECT_EQ(7u, manager_->events.store().waits().at("mark").taken);
  EXPECT_LT(401u, manager_->events.store().last()) << "no number is given twice";
  told.clear();
  {
    Connection connection;
    ASSERT_EQ(Outcome::done, connection.open(test::work_dir() + "/data/events.db", Durability::process));
    ASSERT_EQ(Outcome::done, connection.run("UPDATE events SET body = x'00' WHERE sequence = 350"));
  }
  reply = begin_to_ask(log_get({}));
  EXPECT_EQ(OX_ERUNTIME, reply.error);
  EXPECT_TRUE(reply.data.empty() && !reply.rest);
  EXPECT_EQ("row 350 of events is damaged", told);
  EXPECT_TRUE(log_is_free());
}

TEST_F(EventRequestTest, LogKeepsToItsSizeAndAge) {
  settings_.event_log_size = 65536;
  restart();
  fill(300, 1000);
  finish_work();
  EXPECT_LE(manager_->events.store().bytes(), 65536u);
  EXPECT_GE(manager_->events.store().bytes(), 50000u);
  const auto future = static_cast<std::uint32_t>(std::time(nullptr)) + 91 * 86400;
  (void)open_wait("old", 1);
  manager_->end_session(1);
  manager_->events.tidy(future);
  finish_work();
  EXPECT_EQ("122", logged());
  EXPECT_TRUE(manager_->events.marks().empty()) << "a wait that nobody has had open for so long is forgotten";
}

// Whoever floods the log, at whatever level: what the others have in it stays.
TEST_F(EventRequestTest, AFloodPushesOutNobodyElses) {
  settings_.event_log_size = 65536;
  restart();
  const auto named = [](EventKind kind, const char* name) {
    return origin_of(kind, std::as_bytes(std::span(name, std::strlen(name))));
  };
  const Criteria others = {{OX_EVFLT_MEMO, pattern("?")}};
  for (const EventKind kind : {EventKind::trap, EventKind::sent, EventKind::own}) {
    for (const std::uint32_t level : {1u, 3u}) fill(2, 0, named(kind, "quiet"), level);
  }
  const std::string kept = logged(others);
  EXPECT_EQ("a b a b a b a b a b a b", kept);
  for (const EventKind kind : {EventKind::trap, EventKind::sent}) {
    for (const std::uint32_t level : {1u, 4u}) {
      SCOPED_TRACE(std::to_string(static_cast<int>(kind)) + ' ' + std::to_string(level));
      const EventShares& shares = manager_->events.store().shares();
      const std::size_t of_kind = kind_of(named(kind, "")) + (level == 4 ? 1 : 0);
      fill(300, 1000, named(kind, "loud"), level);
      finish_work();
      EXPECT_EQ(kept, logged(others));
      EXPECT_LT(200u, shares.dropped(of_kind));
      EXPECT_LE(event_shares[of_kind].percent * 65536u * 8 / 1000, shares.bytes(of_kind)) << "its own share";
      EXPECT_LE(manager_->events.store().bytes(), 65536u);
    }
  }
  restart();
  EXPECT_EQ(kept, logged(others));
  const std::string shown = ask("get system:system sysmib.oxEventLog");
  for (const char* figure : {"10.106.1.4 = severe sent", "10.106.2.4 = 20;", "10.106.4.5 = 0"}) {
    EXPECT_NE(std::string::npos, shown.find(figure)) << shown;
  }
}

// Among what a wait has not had, and what is dropped of it at different times: a notice for each gap, and the rest
// once.
TEST_F(EventRequestTest, AWaitIsToldOfWhatWasDroppedAndGetsTheRest) {
  settings_.event_log_size = 65536;
  restart();
  (void)watch("system:system", "sysmib.oxMessage.oxEventMessage2.0", 5, 2);
  (void)open_wait("w", 1);
  manager_->end_session(1);
  std::string expected;
  for (int i = 1; i <= 5; ++i) {
    (void)post(std::to_string(i));
    fill(i == 4 ? 0 : 40, 1000);
    finish_work();
    if (i == 3) restart();
    expected += (i == 1 || i == 5 ? " " : " !85 ") + std::to_string(i);
  }
  const auto read = [this](const auto& next, std::size_t most) {
    std::string found;
    for (std::string one = fetch(); one != "nothing" && most-- != 0; one = next()) {
      if (one.find('x') == std::string::npos) found += one.substr(one.find(' '));
    }
    return found;
  };
  (void)open_wait("w", 1);
  std::string all = read([this] { return take(); }, 2);
  manager_->end_session(1);
  restart();
  (void)open_wait("w", 1);
  all += read([this] { return take(); }, 1000);
  EXPECT_EQ(" 1 !85 2 !85 3 !85 4 5", all);
  manager_->events.tidy(static_cast<std::uint32_t>(std::time(nullptr)));
  std::vector<StoredEvent> left;
  EXPECT_EQ(Outcome::done, manager_->events.store().after(0, 1000, 1u << 20, left));
  for (const StoredEvent& event : left) EXPECT_FALSE(event.body.empty()) << "nobody needs the mark any more";
}

TEST_F(EventRequestTest, WaitsOfEachKindReportTheirEvents) {
  EXPECT_EQ(0u, watch("system:system", "sysmib.oxMessage.oxEventMessage2.0", 11, 2).error);
  EXPECT_EQ(0u, watch("system:system", "sysmib.oxMessage.oxTrapMessage.0", 12, 3).error);
  EXPECT_EQ(0u, watch("system:system", "sysmib.oxMessage.oxEventMessage.0", 13, 4).error);
  (void)post("plain");
  (void)post("trap", [](evmsg* made) { (void)oxeEvmsgSetEventType(made, OX_EVENT_TRAP); });
  EXPECT_EQ("2>11 plain", fetch(2));
  EXPECT_EQ("2>11 trap", fetch(2));
  EXPECT_EQ("nothing", fetch(2));
  EXPECT_EQ("2>12 trap", fetch(3));
  EXPECT_EQ("nothing", fetch(3));
  NodeList nodes;
  ASSERT_EQ(0u, decode_nodes(ask({.type = 5}, 4).data, nodes));
  std::uint32_t type = 0;
  std::uint32_t size = 0;
  const void* value = nullptr;
  ASSERT_EQ(0u, oxdGetValue(nodes.get(), &type, &size, &value));
  evmsg* older = nullptr;
  ASSERT_EQ(0u, oxeEvmsgDecodeR21(value, size, &older));
  EXPECT_EQ("plain", text_of(EventPtr(older).get(), &oxeEvmsgGetMemo));
  (void)post(std::string(70000, 'x'));
  (void)fetch(4);  // the trap
  EXPECT_EQ("2>13 !266", fetch(4));
}

TEST_F(EventRequestTest, ReaderThatStaysAwayLosesOnlyItsOwn) {
  settings_.max_reports = 10;
  restart();
  for (const std::uint32_t session : {2, 3}) {
    (void)watch("system:system", "sysmib.oxMessage.oxEventMessage2.0", 5, session);
  }
  for (int i = 1; i <= 20; ++i) {
    (void)post(std::to_string(i));
    EXPECT_EQ("2>5 " + std::to_string(i), fetch(2));
  }
  EXPECT_EQ("2>5 !85", fetch(3));
  for (int i = 16; i <= 20; ++i) EXPECT_EQ("2>5 " + std::to_string(i), fetch(3));
  EXPECT_EQ("nothing", fetch(3));
}

TEST_F(EventRequestTest, PersistentWaitsDeliverUntilTaken) {
  EXPECT_EQ(OX_EMISSING, open_wait("", 1).error);
  EXPECT_EQ(OX_EWAITNAME, open_wait(std::string(65, 'x'), 1).error);
  (void)post("before");
  const Reply opened = open_wait("w", 21);
  ASSERT_EQ(0u, opened.error);
  EXPECT_EQ(OX_EEXISTS, open_wait("w", 22, 2).error);
  EXPECT_EQ("nothing", fetch());

  for (const char* memo : {"one", "two", "three"}) (void)post(memo);
  EXPECT_EQ("25>21 one", fetch());
  EXPECT_EQ("nothing", fetch()) << "one at a time, and not again while it is with the client";
  EXPECT_EQ("25>21 two", fetch(1, 7, 2));
  EXPECT_EQ("nothing", fetch(1, 7, 99)) << "not the number that is out";
  restart();  // the second was not taken
  EXPECT_EQ(0u, open_wait("w", 23).error);
  EXPECT_EQ("25>23 two", fetch());
  EXPECT_EQ(3u, number_);
  EXPECT_EQ("25>23 three", take());
  manager_->end_session(1);
  (void)post("four");
  const Reply again = open_wait("w", 24, 2);
  EXPECT_EQ("25>24 three", fetch(2));
  rights_[1] = of_member();
  EXPECT_EQ(OX_EHANDLE, ask(1, 26, "", 1, again.source_id).error);
  EXPECT_EQ(0u, ask(1, 26, "", 2, again.source_id).error) << "closed inside its callback";
  EXPECT_EQ("nothing", take(2));
  (void)open_wait("w", 25, 2);
  EXPECT_EQ("25>25 four", fetch(2)) << "what the callback took after the close is taken";
  EXPECT_EQ("nothing", take(2));
}

// Whoever closes it, and whoever has it open meanwhile.
TEST_F(EventRequestTest, WhatIsOpenOrKeptCountsForWhoMadeIt) {
  enum : std::uint32_t { ann = 2, bob, eve };
  rights_ = {{ann, of_member()}, {bob, of_member()}};
  rights_[eve] =
      std::make_shared<const Rights>(std::make_shared<User>("eve"), Role::administer, std::vector<RoleRule>());
  const auto counts = [this] {
    std::string text;
    for (const std::uint32_t who : {ann, bob, eve}) text += std::to_string(rights_[who]->user().holds.registrations);
    return text;
  };
  const std::uint32_t wait = open_wait("a", 1, ann).source_id;
  const std::uint32_t lock = ask(1, 14, test::text("system:system") + test::word(0), ann).source_id;
  (void)open_handle(eve);
  EXPECT_EQ("201", counts());
  EXPECT_EQ(0u, ask(4, 14, "", eve, lock).error);
  EXPECT_EQ("101", counts());
  EXPECT_EQ(0u, ask(1, 26, "", eve, wait).error);
  EXPECT_EQ("101", counts()) << "the name is kept";
  manager_->end_session(ann);
  EXPECT_EQ("101", counts());
  (void)open_wait("b", 1, bob);
  (void)open_wait("a", 1, bob);
  EXPECT_EQ("021", counts());
  manager_->end_session(bob);
  EXPECT_EQ("111", counts());
  manager_->settings.user_registrations = 1;
  EXPECT_EQ(OX_ETOOMANY, open_wait("b", 1, ann).error);
  EXPECT_EQ(0u, open_wait("a", 1, ann).error) << "no more than there was";
  EXPECT_EQ("111", counts());
  manager_->events.tidy(static_cast<std::uint32_t>(std::time(nullptr)) + 91 * 86400);
  EXPECT_EQ("101", counts());
}

TEST_F(EventRequestTest, SoManyNamesOfWaitsAreKeptOpenOrNot) {
  manager_->settings.max_wait_names = 2;
  (void)open_wait("a", 1);
  (void)open_wait("b", 2);
  EXPECT_EQ(OX_ETOOMANY, open_wait("c", 3).error);
  manager_->end_session(1);
  EXPECT_EQ(OX_ETOOMANY, open_wait("c", 3).error);
  EXPECT_EQ(0u, open_wait("b", 2).error);
  manager_->events.tidy(static_cast<std::uint32_t>(std::time(nullptr)) + 91 * 86400);
  EXPECT_EQ(0u, open_wait("c", 3).error) << "a has been forgotten";
}

// The pause is over, and what is to be done then stands behind the close already.
TEST_F(EventRequestTest, AWaitThatIsClosedWhenItsPauseEndsIsGone) {
  const Reply wait = open_wait("a", 1);
  (void)post("x");
  EXPECT_EQ("25>1 x", fetch());
  EXPECT_EQ("nothing", refuse());
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  asio::post(loop_, [&] { EXPECT_TRUE(manager_->waits.close(wait.source_id, 1, false)); });
  loop_.restart();
  (void)loop_.poll();
  EXPECT_EQ("nothing", fetch());
}

// Memory runs out while an event is shown to those who wait, or while it is fetched: it comes all the same, once.
TEST_F(EventRequestTest, WithoutMemoryNoDeliveryIsLost) {
  const Message fetch_message{.type = 5, .reference = 0xFFFFFFFF};
  for (const std::string kind : {"25", "2"}) {
    if (kind == "25") {
      (void)open_wait("a", 7);
    } else {
      (void)manager_->end_session(1);
      (void)watch("system:system", "sysmib.oxMessage.oxTrapMessage.0", 7);
    }
    const Fill trap = [](evmsg* made) { (void)oxeEvmsgSetEventType(made, OX_EVENT_TRAP); };
    (void)post("warm", trap);
    EXPECT_EQ(kind + ">7 warm", fetch());
    EXPECT_EQ("nothing", kind == "25" ? take() : fetch());
    for (const bool showing : {true, false}) {
      bool reached = true;
      for (int n = 1; reached; ++n) {
        const EventPtr event(oxeEvmsgAlloc());
        trap(event.get());
        (void)oxeEvmsgSetMemo(event.get(), "x");
        EventPtr given;
        ASSERT_EQ(0u, decode_events(encode_event(event.get()), given));
        OX_RESULT logged = OX_OK;
        manager_->events.submit(std::move(given), "me", 0, [&](OX_RESULT result, const Bytes&) { logged = result; });
        if (!showing) manager_->events.flush();
        Reply reply;
        const Request request{1, fetch_message, [&](Reply made) { reply = std::move(made); }, Rights::of_manager()};
        test::fail_allocation(n);
        if (showing) {
          manager_->events.flush();
        } else {
          route(*manager_, request);
        }
        reached = test::stop_failing();
        if (showing && kind == "2") (void)post("no trap");
        if (showing) (void)post("y", trap);
        if (reply.report) {
          number_ = reply.report->reference;
        } else if (logged == OX_OK) {
          EXPECT_EQ(kind + ">7 x", fetch()) << n;
        }
        const std::string next = logged != OX_OK ? fetch()
                                 : showing       ? (kind == "25" ? take() : fetch())
                                                 : kind + ">7 y";
        EXPECT_EQ(kind + ">7 y", next) << n;
        EXPECT_EQ("nothing", kind == "25" ? take() : fetch()) << n;
        ASSERT_LT(n, 100);
      }
    }
  }
}

TEST_F(EventRequestTest, AClientOwesOneAnswerAtATime) {
  const Reply a = open_wait("a", 1);
  (void)open_wait("b", 2);
  (void)watch("system:system", "sysmib.oxMessage.oxEventMessage2.0", 3);
  (void)post("x");
  EXPECT_EQ("25>1 x", fetch());
  const std::uint32_t x = number_;
  EXPECT_EQ("2>3 x", fetch()) << "while the callback of the first runs";
  EXPECT_EQ("nothing", fetch());
  EXPECT_EQ("25>2 x", fetch(1, 7, x)) << "the number that both have is the first one's";
  EXPECT_EQ("nothing", refuse());
  (void)post("y");
  EXPECT_EQ("25>1 y", fetch());
  EXPECT_EQ("2>3 y", take());
  EXPECT_EQ("nothing", fetch());
  loop_.restart();
  loop_.run_one_for(std::chrono::seconds(10));  // the pause after a refusal
  EXPECT_EQ("25>2 x", fetch()) << "before what came later";
  EXPECT_EQ("25>2 y", take());
  EXPECT_EQ("nothing", take());

  const std::uint32_t deleted = post("z");
  const std::uint32_t cancelled = post("cancelled");
  EXPECT_EQ("25>1 z", fetch());
  EXPECT_EQ(0u, ask(1, 13, with_id(cancelled), 1, open_handle()).error) << "also for the wait that is held";
  EXPECT_EQ(0u, ask(1, 18, with_id(deleted)).error);
  EXPECT_EQ(0u, ask(1, 26, "", 1, a.source_id).error) << "closed inside its callback, and opened again";
  (void)open_wait("a", 4);
  (void)post("last");
  const std::uint32_t z = number_;
  EXPECT_EQ("2>3 z", fetch());
  EXPECT_EQ("2>3 last", fetch());
  EXPECT_EQ("25>2 z", fetch(1, 7, z));
  EXPECT_EQ("25>4 last", take()) << "what the callback took is taken for the name";
  EXPECT_EQ("25>2 last", take());
  EXPECT_EQ("nothing", take());
}

TEST_F(EventRequestTest, DeletedEventsAreOwedToWaitsAndCancelledOnesAreNot) {
  (void)open_wait("w", 1);
  const std::uint32_t deleted = post("deleted");
  const std::uint32_t cancelled = post("cancelled");
  const std::uint32_t kept = post("kept");
  const std::uint32_t late = post("cancelled when it had been read ahead");
  const std::uint32_t handle = open_handle();
  EXPECT_EQ(0u, ask(1, 18, with_id(deleted)).error);
  EXPECT_EQ(0u, ask(1, 13, with_id(cancelled), 1, handle).error);
  EXPECT_EQ(OX_ENOTFOUND, ask(1, 13, with_id(cancelled), 1, handle).error);
  EXPECT_EQ(OX_EUNSUPPORTED, ask(1, 13, with_id(1), 2, handle).error);
  EXPECT_EQ("kept cancelled when it had been read ahead", logged());
  restart();
  (void)open_wait("w", 1);
  EXPECT_EQ("25>1 deleted", fetch());
  EXPECT_EQ(0u, ask(1, 13, with_id(late), 1, open_handle()).error);
  EXPECT_EQ(0u, ask(1, 19, event([&](evmsg* made) {
                      (void)oxeEvmsgSetSndId(made, kept);
                      (void)oxeEvmsgSetMemo(made, "changed when it had been read ahead");
                    }))
                    .error);
  EXPECT_EQ("25>1 changed when it had been read ahead", take());
  EXPECT_EQ("nothing", take());
  manager_->events.tidy(static_cast<std::uint32_t>(std::time(nullptr)));
  std::vector<StoredEvent> left;
  EXPECT_EQ(Outcome::done, manager_->events.store().after(0, 100, 1u << 20, left));
  EXPECT_EQ(1u, left.size());
}

}  // namespace
}  // namespace ox::manager
