// Events and their log.
#include <asio/post.hpp>

#include "tests/manager/damage.h"
#include "tests/manager/event_requests.h"

namespace ox::manager {
namespace {

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
    send({.type = 1, .command = command, .data = std::move(data)},
         [&answers, name](const Reply& made) { answers += name + std::to_string(made.error) + ' '; });
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
  send(everything, [&](const Reply&) { answered = true; });
  EXPECT_FALSE(log_is_free(1));
  manager_->end_session(1);
  turn();
  EXPECT_TRUE(!answered && log_is_free()) << "while it was counted";

  Reply reply = begin_to_ask(everything);
  Bytes piece;
  EXPECT_TRUE(reply.rest->take(piece));
  manager_->end_session(1);
  EXPECT_FALSE(reply.rest->take(piece));
  reply = {};
  EXPECT_TRUE(log_is_free()) << "while it was read";

  manager_->settings.event_log_timeout = 2;  // seconds: fewer events are counted long before
  reply = begin_to_ask(log_get({{OX_EVFLT_LAST, 500}}));
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
  test::change_database(test::work_dir() + "/data/events.db", "UPDATE events SET body = x'00' WHERE sequence = 350");
  reply = begin_to_ask(log_get({}));
  EXPECT_EQ(OX_ERUNTIME, reply.error);
  EXPECT_TRUE(reply.data.empty() && !reply.rest);
  EXPECT_EQ("row 350 of events is damaged", told);
  EXPECT_TRUE(log_is_free());
}

// Each turn's events are answered for by themselves, in their order, and whoever asks meanwhile waits for all of them.
TEST_F(EventRequestTest, OthersAreServedWhileWhatCameInARenewalIsMade) {
  constexpr int turns = 3000;
  ASSERT_TRUE(manager_->events.open([](auto&, std::uint32_t, auto&) {}));
  manager_->events.renew();
  int told = 0;
  for (int i = 0; i < turns; ++i) {
    for (int n = 0; n < 4; ++n) submit("m", 4 * i + n, told);
    if (i + 1 != turns) manager_->events.flush();  // the last turn has not ended
  }
  std::string answer;
  send(log_get({}), [&](const Reply& made) { answer = memos(whole(made)); });
  int steps = 0;
  for (int before = 0; told != 4 * turns && loop_.run_one() != 0; before = told) {
    if (told != before) ++steps;
    EXPECT_TRUE(told == 4 * turns || answer.empty()) << "of some of them";
  }
  EXPECT_LT(2, steps);
  turn();
  EXPECT_EQ(4 * turns, std::count(answer.begin(), answer.end(), 'm'));
}

TEST_F(EventRequestTest, WhatComesWhileTheLogOfChangesBeginsAnewIsKept) {
  Database& database = manager_->events.store().database();
  database.work_beside(loop_, [](bool) {});
  int sent = 0;
  int told = 0;
  int while_away = 0;
  fill(100, 1000);
  test::fill_log(database.file());
  while (sent < 100000 && while_away < 10) {
    submit("x", sent++, told);
    manager_->events.flush();
    if (database.is_away()) ++while_away;
  }
  EXPECT_EQ(10, while_away);
  EXPECT_GT(sent, told);
  const std::string last(1, 'y');
  submit(last, sent++, told);
  manager_->settings.event_log_size = 65536;
  EXPECT_LT(manager_->settings.event_log_size, manager_->events.store().bytes());
  run_until([&] { return told == sent; });
  EXPECT_EQ(sent, told);
  turn();
  EXPECT_GE(manager_->settings.event_log_size, manager_->events.store().bytes());
  EXPECT_EQ(last, logged({{OX_EVFLT_MEMO, pattern("y")}}));
}

TEST_F(EventRequestTest, LogKeepsToItsSizeAndAge) {
  settings_.event_log_size = 65536;
  restart();
  fill(300, 1000);
  turn();
  EXPECT_LE(manager_->events.store().bytes(), 65536u);
  EXPECT_GE(manager_->events.store().bytes(), 50000u);
  const auto future = static_cast<std::uint32_t>(std::time(nullptr)) + 91 * 86400;
  (void)open_wait("old", 1);
  manager_->end_session(1);
  manager_->events.tidy(future);
  turn();
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
      turn();
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
    turn();
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

}  // namespace
}  // namespace ox::manager
