// Waits for events: what they are told, and what they are owed.
#include <asio/post.hpp>
#include <thread>

#include "tests/manager/event_requests.h"
#include "tests/support/fault_heap.h"

namespace ox::manager {
namespace {

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
  const std::string value = value_of(nodes.get()).bytes;
  evmsg* older = nullptr;
  ASSERT_EQ(0u, oxeEvmsgDecodeR21(value.data(), static_cast<std::uint32_t>(value.size()), &older));
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

// From one manager to the next, also when another opens it there first.
TEST_F(EventRequestTest, ANameStaysItsMakersOverARestart) {
  enum : std::uint32_t { ann = 2, bob };
  const auto come = [this](std::uint32_t who) {
    rights_[who] = std::make_shared<const Rights>(manager_->users.of("420" + std::to_string(who)), Role::operate,
                                                  std::vector<RoleRule>());
  };
  const auto holds = [this](std::uint32_t who) { return rights_[who]->user().holds.registrations; };
  come(ann);
  for (const char* name : {"a", "b", "c"}) (void)open_wait(name, 1, ann);
  manager_->end_session(ann);
  EXPECT_EQ(3u, holds(ann));
  restart();
  come(bob);
  (void)open_wait("a", 1, bob);
  (void)open_wait("b", 2, bob);
  (void)open_wait("bobs", 3, bob);
  manager_->waits.close(1, bob, false);
  come(ann);
  EXPECT_EQ(2u, holds(ann)) << "a and c";
  manager_->end_session(bob);
  EXPECT_EQ(3u, holds(ann));
  EXPECT_EQ(1u, holds(bob));
  restart();
  come(ann);
  EXPECT_EQ(3u, holds(ann));
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
  turn();
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
