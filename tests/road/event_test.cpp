// Events on the road: real senders and waiters, each a process of its own, and a manager that is killed.
#include <atomic>
#include <chrono>
#include <new>
#include <thread>

#include <oxbase/oxa.h>
#include <oxbase/oxe.h>

#include "platform/shared_block.h"
#include "tests/road/daemon.h"
#include "tests/support/other_process.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"

namespace ox::test {
namespace {

constexpr std::uint32_t events_of_sender = OX_EVENTS;
constexpr std::uint32_t senders = 4;
constexpr std::uint32_t waiters = 20;
constexpr auto patience = std::chrono::minutes(2);  // without any event

// What the processes tell each other.
struct Board {
  std::atomic<std::uint32_t> ready;     // waiters that listen
  std::atomic<std::uint32_t> sent;      // events that were answered for
  std::atomic<std::uint32_t> failures;  // with a line on the standard error stream each
  // Events of each sender that nobody answered for: they may have been lost with the manager, or not.
  std::atomic<bool> unanswered[senders][events_of_sender + 1];
  std::uint32_t next[senders];          // what each sends next
  std::uint32_t had[waiters][senders];  // the last number that each waiter has had of each sender
};
constexpr char board_name[] = "road.board";

constexpr int done = 0;
constexpr int connection_lost = 1;
constexpr int failed = 2;

int fail(Board& board, const char* what, std::uint32_t code) {
  std::fprintf(stderr, "%s (%u)\n", what, code);
  ++board.failures;
  return failed;
}

bool lost = false;
void OX_CALL on_disconnect(std::uint32_t, OX_RESULT, std::uint32_t) { lost = true; }

// One waiter: every event of each sender in order, none twice, and none left out that was answered for.
struct Waiter {
  Board& board;
  std::uint32_t number;
  bool may_miss;
  bool good = true;
  std::chrono::steady_clock::time_point last_event = std::chrono::steady_clock::now();

  void take(const evmsg* event) {
    std::uint32_t sender = 0;
    std::uint32_t count = 0;
    (void)oxeEvmsgGetEventType(event, &sender);
    (void)oxeEvmsgGetMsgNumber(event, &count);
    std::uint32_t& had = board.had[number][sender];
    std::uint32_t next = had + 1;
    while (may_miss && next < count && board.unanswered[sender][next]) ++next;
    if (count != next) {
      std::fprintf(stderr, "waiter %u, sender %u: %u after %u\n", number, sender, count, had);
      good = false;
    }
    had = count;
    last_event = std::chrono::steady_clock::now();
  }
  [[nodiscard]] bool complete() const {
    for (const std::uint32_t had : board.had[number]) {
      if (had < events_of_sender) return false;
    }
    return true;
  }
  static OX_RESULT OX_CALL on_events(void*, std::uint32_t, void* argument, evmsg* list, OX_RESULT code) {
    Waiter& self = *static_cast<Waiter*>(argument);
    if (code != OX_OK) {
      if (code != OX_ECLOSED) self.good = false;
      return OX_OK;
    }
    for (const evmsg* event = list; event != nullptr; event = oxeEvmsgNext(event)) self.take(event);
    (void)oxeEvmsgFree(list);
    return OX_OK;
  }
  int run(const char* name) {
    lost = false;
    void* wait = nullptr;
    const OX_RESULT result = name != nullptr ? oxeEventWaitOpenEx(name, on_events, this, &wait)
                                             : oxeEventWaitOpen(nullptr, 0, on_events, this, &wait);
    if (result == OX_ECLOSED || result == OX_ENOSESSION) return connection_lost;
    if (result != OX_OK) return fail(board, "no wait", result);
    ++board.ready;
    while (good && !lost && !complete() && oxaDispatch(20000) == OX_OK) {
      if (std::chrono::steady_clock::now() - last_event > patience) return fail(board, "no more events", number);
    }
    if (!good) return fail(board, "wrong events", number);
    return lost ? connection_lost : done;
  }
};

// What the processes do. A process has one connection in its life: who loses the manager goes on as a new one.
template <auto role, bool persistent>
int play(OtherProcess& process) {
  platform::SharedBlock block;
  if (block.open(board_name, platform::SharedBlock::Mode::write) != platform::error_none) return failed;
  OX_RESULT result = oxaInit(on_disconnect);
  for (int tries = 0; result != OX_OK && tries < 60; ++tries) result = oxaInit(on_disconnect);  // a second each
  if (result != OX_OK) return failed;
  return role(*static_cast<Board*>(block.data()), static_cast<std::uint32_t>(std::stoul(process.text())), persistent);
}

int wait(Board& board, std::uint32_t number, bool persistent) {
  const std::string name = "road" + std::to_string(number);
  return Waiter{board, number, persistent}.run(persistent ? name.c_str() : nullptr);
}

// Sends what is left; the first that is not sent is left there.
int send(Board& board, std::uint32_t sender, bool persistent) {
  std::uint32_t& next = board.next[sender];
  std::uint32_t handle = 0;
  OX_RESULT result = oxeEventOpen(nullptr, "road", &handle);
  for (; result == OX_OK && next <= events_of_sender; ++next) {
    evmsg* const event = oxeEvmsgAlloc();
    (void)oxeEvmsgSetEventType(event, sender);
    (void)oxeEvmsgSetMsgNumber(event, next);
    result = oxeEventSend(handle, event);
    (void)oxeEvmsgFree(event);
    if (result != OX_OK) break;
    ++board.sent;
  }
  if (result == OX_OK) return done;
  if (!persistent || (result != OX_ECLOSED && result != OX_ENOSESSION)) return fail(board, "send", result);
  // The last one is sent again and again: by it the waiters know the end.
  if (result == OX_ECLOSED && next < events_of_sender) board.unanswered[sender][next++] = true;
  return connection_lost;
}

[[maybe_unused]] const bool declared[] = {
    OtherProcess::declare("wait", play<wait, false>),
    OtherProcess::declare("send", play<send, false>),
    OtherProcess::declare("wait persistently", play<wait, true>),
    OtherProcess::declare("send persistently", play<send, true>),
};

class EventRoad : public testing::Test {
 protected:
  struct Actor {
    std::string role;
    std::string number;
    ChildProcess process;
    int lives = 0;

    void live() {
      process = OtherProcess::start(role, number);
      ++lives;
    }
  };

  void SetUp() override {
    ASSERT_EQ(platform::error_none, block_.create(board_name, sizeof(Board), platform::Access::machine));
    board = new (block_.data()) Board{};
    for (std::uint32_t& next : board->next) next = 1;
  }
  void start(const std::string& role, std::uint32_t number) {
    actors_.push_back({role, std::to_string(number), {}, 0});
    actors_.back().live();
  }
  void all_end_well() {
    for (int i = 0; i < 100000 && !actors_.empty(); ++i) {
      std::erase_if(actors_, [](Actor& actor) {
        if (actor.process.running()) return false;
        const int status = actor.process.wait(std::chrono::milliseconds(0));
        if (status == connection_lost && actor.lives < 20) {
          actor.live();
          return false;
        }
        EXPECT_EQ(done, status) << actor.role << ' ' << actor.number << '\n' << OtherProcess::log();
        return true;
      });
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_TRUE(actors_.empty()) << actors_.front().role << ' ' << actors_.front().number;
  }
  template <class Condition>
  void wait_until(Condition condition) const {
    for (int i = 0; i < 30000 && !condition() && board->failures == 0; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(condition()) << OtherProcess::log();
  }

  Board* board = nullptr;

 private:
  platform::SharedBlock block_;
  std::vector<Actor> actors_;
};

TEST_F(EventRoad, EveryWaiterHasEveryEventInOrder) {
  const Daemon daemon;
  for (std::uint32_t number = 0; number < waiters; ++number) start("wait", number);
  wait_until([&] { return board->ready == waiters; });
  for (std::uint32_t sender = 0; sender < senders; ++sender) start("send", sender);
  all_end_well();
  EXPECT_EQ(senders * events_of_sender, board->sent);
}

TEST_F(EventRoad, PersistentWaitsOutliveTheManager) {
  Daemon daemon;
  for (std::uint32_t number = 0; number < waiters; ++number) start("wait persistently", number);
  wait_until([&] { return board->ready >= waiters; });
  for (std::uint32_t sender = 0; sender < senders; ++sender) start("send persistently", sender);
  wait_until([&] { return board->sent >= senders * events_of_sender / 2; });
  daemon.kill();
  daemon.start();
  all_end_well();
}

}  // namespace
}  // namespace ox::test
