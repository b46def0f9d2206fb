// The loss of the connection, however it is found, and the next connection.
#include <functional>

#include "tests/access/report_peer.h"

namespace ox::test {
namespace {

class LossTest : public ReportTest {
 protected:
  // An asynchronous request and what it does when it is told something.
  struct Watched {
    LossTest& test;
    std::string name;
    std::function<void()> then{};
    void* request = nullptr;
    std::string registration{};
    std::uint32_t id = 0;
  };
  static void OX_CALL note(void* request, void* argument, dnode* list, OX_RESULT code) {
    auto& watched = *static_cast<Watched*>(argument);
    EXPECT_EQ(watched.request, request);
    EXPECT_EQ(nullptr, list);
    watched.test.told += watched.name + std::to_string(code) + ' ';
    if (const auto then = std::exchange(watched.then, nullptr)) then();
  }
  void open(Watched& watched, const char* manager = nullptr) {
    peer.answer(reply_bytes({.source_id = ++last_daemon_id}));
    const bool is_set = watched.name == "set";
    EXPECT_EQ(0u, is_set ? oxaAsySet(manager, 0, 0, nullptr, note, &watched, &watched.request)
                         : oxaAsyGet(manager, "map:top", "11", nullptr, 0, 0, note, &watched, &watched.request));
    take_id();
    watched.registration = sent;
    watched.id = id;
  }
  // The loss of a connection opened with it is told as "lost", and then does `after_loss`.
  static void OX_CALL on_loss(std::uint32_t first, OX_RESULT code, std::uint32_t last) {
    EXPECT_EQ((std::array<std::uint32_t, 3>{0, 17, 0}), (std::array{first, code, last}));
    self->told += "lost ";
    if (const auto then = std::exchange(self->after_loss, nullptr)) then();
  }
  static void OX_CALL on_next_loss(std::uint32_t, OX_RESULT, std::uint32_t) { self->told += "lost anew "; }
  void connect(oxaDisconnect callback = on_loss) { ASSERT_EQ(0u, oxaInit(callback)); }
  void SetUp() override {
    self = this;
    session().close();
    connect();
  }
  void TearDown() override {
    for (Watched* one : {&get, &away, &set}) {
      if (one->request != nullptr) (void)oxaClose(one->request);
    }
    session().close();
  }
  void open_all() {
    open(get);
    open(away, "elsewhere");
    open(set);
    (void)peer.requests();
  }
  // Dispatches until the loss has been told.
  void until_lost() {
    for (int turn = 0; turn < 100 && oxaDispatch(10000) == 0 && told.find("lost") == told.npos; ++turn) {
    }
  }

  static inline LossTest* self = nullptr;
  std::string told;
  std::function<void()> after_loss;
  std::uint32_t last_daemon_id = 0x10;
  Watched get{*this, "get"}, away{*this, "away"}, set{*this, "set"};
};

OX_RESULT any_request() { return oxaCompUnlock(1); }
const std::string all_told = "get17 away17 set17 lost ";

TEST_F(LossTest, IsToldOnceToAllHoweverItIsFound) {
  const auto lose_in_request = [&] {
    peer.answer(Answer{.close = true});
    EXPECT_EQ(17u, any_request());
    EXPECT_EQ(14u, any_request());
  };
  const struct {
    const char* what;
    std::function<void()> lose;
    std::string before{};  // what is told by the report in whose callback it is found
  } rows[] = {
      {"by the notifier, while nothing runs", [&] { peer.hang_up(); }},
      {"by a request, and by the notifier", lose_in_request},
      {"by a fetch",
       [&] {
         peer.answer(Answer{.close = true});
         peer.announce();
       }},
      {"by a request in a callback",
       [&] {
         get.then = lose_in_request;
         answer({.command = 2, .destination_id = get.id});
         peer.announce();
       },
       "get0 "},
      {"by dispatching in a callback",
       [&] {
         get.then = [&] {
           peer.hang_up();
           until_lost();
         };
         answer({.command = 2, .destination_id = get.id});
         peer.announce();
       },
       "get0 "},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    open_all();
    row.lose();
    until_lost();
    EXPECT_EQ(row.before + all_told, std::exchange(told, ""));
    EXPECT_EQ(14u, oxaDispatch(0));
    EXPECT_EQ(14u, any_request());
    EXPECT_EQ(-1, oxaGetReportFd());
    for (Watched* one : {&get, &away, &set}) {
      one->then = nullptr;
      EXPECT_EQ(14u, oxaClose(std::exchange(one->request, nullptr)));  // released all the same
    }
    connect();
    EXPECT_EQ(0u, oxaDispatch(0));
    EXPECT_EQ("", told);
  }
}

TEST_F(LossTest, CallbacksCloseAndOpenWhileItIsTold) {
  Watched late{*this, "late"};
  open_all();
  get.then = [&] {
    EXPECT_EQ(14u, oxaClose(std::exchange(away.request, nullptr)));
    EXPECT_EQ(14u, oxaAsyGet(nullptr, "map:top", "11", nullptr, 0, 0, note, &late, &late.request));
    EXPECT_EQ(14u, oxaDispatch(0));
    EXPECT_EQ(14u, oxaClose(std::exchange(get.request, nullptr)));
  };
  set.then = [&] { EXPECT_EQ(14u, oxaClose(std::exchange(set.request, nullptr))); };
  peer.hang_up();
  until_lost();
  EXPECT_EQ("get17 set17 lost ", told);
}

TEST_F(LossTest, TheNextConnectionRegistersWhatIsOpen) {
  const auto again = [&] {
    for (std::uint32_t daemon_id : {0x51u, 0x52u}) peer.answer(reply_bytes({.source_id = daemon_id}));
    peer.answer(reply_bytes({.error = 84}));
    connect(on_next_loss);
    EXPECT_EQ(84u, any_request());
  };
  const struct {
    const char* what;
    std::function<void()> prepare;
    std::function<void()> come_back;
    std::string told;
  } rows[] = {
      {"after its loss was told", [] {}, [&] { until_lost(), again(); }, all_told},
      {"before its loss was told", [] {},
       [&] {
         while (any_request() != 17) {
         }
         again();
         EXPECT_EQ("", told);
         until_lost();
       },
       all_told},
      {"in the disconnect callback", [&] { after_loss = again; }, [&] { until_lost(); }, all_told},
      {"in the callback of a request", [&] { away.then = again; }, [&] { until_lost(); }, all_told},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Watched ended{*this, "ended"};
    open(ended);
    open_all();
    deliver({{.command = 2, .error = 166, .destination_id = ended.id}});
    (void)peer.requests();
    row.prepare();
    told.clear();
    peer.hang_up();
    row.come_back();
    EXPECT_EQ("ended17 " + row.told, std::exchange(told, ""));
    std::vector<std::string> requests = peer.requests();
    if (requests.size() == 4) requests.erase(requests.begin());  // the one that found the loss
    ASSERT_EQ(3u, requests.size());
    requests.pop_back();
    EXPECT_EQ((std::vector{get.registration, away.registration}), requests);

    away.then = nullptr;
    deliver({{.command = 2, .error = 84, .destination_id = get.id}});
    EXPECT_EQ("get84 ", std::exchange(told, ""));
    EXPECT_EQ(0u, oxaClose(ended.request));
    set.request = nullptr;
    (void)peer.requests();
    for (Watched* one : {&get, &away}) {
      peer.answer(reply_bytes({.error = 1}));
      EXPECT_EQ(0u, oxaClose(std::exchange(one->request, nullptr)));
    }
    const std::vector<std::string> closings = peer.requests();
    EXPECT_EQ(request_bytes({.command = 6, .source = 0x51}), closings.at(0));
    peer.hang_up();
    until_lost();
    EXPECT_EQ("lost anew ", std::exchange(told, ""));
    connect();
  }
}

TEST_F(LossTest, AConnectionThatIsLostAgainAtOnceIsNone) {
  open_all();
  peer.hang_up();
  until_lost();
  for (int i = 0; i < 2; ++i) {
    peer.answer(reply_bytes({.source_id = 0x51}));
    peer.answer(Answer{.close = true});  // at the registration of the second
    EXPECT_EQ(17u, oxaInit(on_loss));
    EXPECT_EQ(14u, oxaDispatch(0));
  }
  EXPECT_EQ(all_told, told);
  peer.otherwise(reply_bytes({.error = 1}));
  connect();
  EXPECT_EQ(1u, any_request());
  set.request = nullptr;
}

}  // namespace
}  // namespace ox::test
