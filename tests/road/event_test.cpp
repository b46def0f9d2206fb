// Events on the road: real senders and waiters, each a process of its own, and a manager that dies and ends under
// those that come back by themselves.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>
#include <random>
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

constexpr std::uint32_t senders = 4;
constexpr std::uint32_t most_events = 200'000;         // of a sender
constexpr auto patience = std::chrono::minutes(2);     // without any event
constexpr auto pause = std::chrono::milliseconds(20);  // of a sender under restarts

enum class Fate : std::uint8_t { unsent, answered_for, unknown };  // perhaps lost with the manager, perhaps not

// What the processes tell each other.
struct Board {
  std::atomic<std::uint32_t> ready;     // waiters that listen
  std::atomic<std::uint32_t> failures;  // with a line on the standard error stream each
  std::atomic<bool> stop;
  std::atomic<Fate> fates[senders][most_events + 1];

  int fail(const char* what, std::uint32_t code) {
    std::fprintf(stderr, "%s (%u)\n", what, code);
    ++failures;
    return 1;
  }
};
constexpr char board_name[] = "road.board";

bool connected = false;
void OX_CALL on_disconnect(std::uint32_t, OX_RESULT, std::uint32_t) { connected = false; }
void connect() {
  (void)oxaDispatch(0);  // a loss is told
  while (!connected) {
    connected = true;  // before the call: the callback may run inside it
    if (oxaInit(on_disconnect) != OX_OK) connected = false;
  }
}

// One waiter: every event of each sender in order, none twice, and none left out that was answered for.
struct Waiter {
  Board& board;
  bool persistent;
  std::uint32_t had[senders] = {};  // the last number of each
  std::uint32_t left = senders;     // whose last event has not come
  bool good = true;
  std::chrono::steady_clock::time_point last_event = std::chrono::steady_clock::now();

  void take(const evmsg* event) {
    std::uint32_t sender = 0;
    std::uint32_t number = 0;
    std::uint32_t last = 0;
    (void)oxeEvmsgGetEventType(event, &sender);
    (void)oxeEvmsgGetMsgNumber(event, &number);
    if (sender >= senders) {
      const char* text = "";
      (void)oxeEvmsgGetMemo(event, &text);
      std::fprintf(stderr, "not of the senders: %u: %s\n", sender, text);
      good = false;
      return;
    }
    if (oxeEvmsgGetRefEventId(event, &last) == OX_OK) --left;
    std::uint32_t next = had[sender] + 1;
    while (next < number && board.fates[sender][next] == Fate::unknown) ++next;
    if (number != next) {
      std::fprintf(stderr, "sender %u: %u after %u\n", sender, number, had[sender]);
      good = false;
    }
    had[sender] = number;
    last_event = std::chrono::steady_clock::now();
  }
  static OX_RESULT OX_CALL on_events(void*, std::uint32_t, void* argument, evmsg* list, OX_RESULT code) {
    Waiter& self = *static_cast<Waiter*>(argument);
    self.good = self.good && (code == OX_OK || (self.persistent && code == OX_ECLOSED));
    for (const evmsg* event = list; event != nullptr; event = oxeEvmsgNext(event)) self.take(event);
    (void)oxeEvmsgFree(list);
    return OX_OK;
  }
};

int wait(Board& board, std::uint32_t number, bool persistent) {
  Waiter waiter{board, persistent};
  const std::string name = "road" + std::to_string(number);
  void* wait = nullptr;
  const OX_RESULT result = persistent ? oxeEventWaitOpenEx(name.c_str(), Waiter::on_events, &waiter, &wait)
                                      : oxeEventWaitOpen(nullptr, 0, Waiter::on_events, &waiter, &wait);
  if (result != OX_OK) return board.fail("no wait", result);
  ++board.ready;
  while (waiter.good && waiter.left != 0) {
    connect();
    (void)oxaDispatch(1000);
    if (std::chrono::steady_clock::now() - waiter.last_event > patience) return board.fail("no more events", number);
  }
  return waiter.good ? 0 : board.fail("wrong events", number);
}

OX_RESULT send_one(std::uint32_t handle, std::uint32_t sender, std::uint32_t number, bool last) {
  evmsg* const event = oxeEvmsgAlloc();
  (void)oxeEvmsgSetEventType(event, sender);
  (void)oxeEvmsgSetMsgNumber(event, number);
  if (last) (void)oxeEvmsgSetRefEventId(event, 1);
  const OX_RESULT result = oxeEventSend(handle, event);
  (void)oxeEvmsgFree(event);
  return result;
}

int send(Board& board, std::uint32_t sender, bool persistent) {
  std::uint32_t handle = 0;
  OX_RESULT result = oxeEventOpen(nullptr, "road", &handle);
  for (std::uint32_t number = 1; number <= most_events; ++number) {
    const bool last = persistent ? board.stop.load() : number == OX_EVENTS;
    while (persistent && result != OX_OK) {
      connect();
      result = oxeEventOpen(nullptr, "road", &handle);
    }
    result = send_one(handle, sender, number, last);
    board.fates[sender][number] = result == OX_OK ? Fate::answered_for : Fate::unknown;
    if (result != OX_OK && !(persistent && (result == OX_ECLOSED || result == OX_ENOSESSION))) break;
    if (last && result == OX_OK) return 0;
    if (persistent) std::this_thread::sleep_for(pause);
  }
  return board.fail("send", result);
}

template <auto role, bool persistent>
int play(OtherProcess& process) {
  platform::SharedBlock block;
  if (block.open(board_name, platform::SharedBlock::Mode::write) != platform::error_none) return 2;
  connect();
  return role(*static_cast<Board*>(block.data()), static_cast<std::uint32_t>(std::stoul(process.text())), persistent);
}
[[maybe_unused]] const bool declared[] = {
    OtherProcess::declare("wait", play<wait, false>),
    OtherProcess::declare("send", play<send, false>),
    OtherProcess::declare("wait persistently", play<wait, true>),
    OtherProcess::declare("send persistently", play<send, true>),
};

class EventRoad : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(platform::error_none, block_.create(board_name, sizeof(Board), platform::Access::machine));
    board = new (block_.data()) Board{};
  }
  void start(const std::string& kind, std::uint32_t waiters) {
    for (std::uint32_t i = 0; i < waiters; ++i)
      actors_.push_back(OtherProcess::start("wait" + kind, std::to_string(i)));
    while (board->ready < waiters && board->failures == 0) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    for (std::uint32_t i = 0; i < senders; ++i)
      actors_.push_back(OtherProcess::start("send" + kind, std::to_string(i)));
  }
  void all_end_well() {
    for (Program& actor : actors_) EXPECT_EQ(0, actor.wait(2 * patience)) << OtherProcess::log();
  }

  Board* board = nullptr;
  Daemon daemon;

 private:
  platform::SharedBlock block_;
  std::vector<Program> actors_;
};

TEST_F(EventRoad, EveryWaiterHasEveryEventInOrder) {
  start("", 20);
  all_end_well();
}

TEST_F(EventRoad, PersistentWaitsHaveEveryEventOnceThroughRestarts) {
  start(" persistently", OX_WAITS);
  const int restarts = number_from("OX_RESTARTS", OX_RESTARTS);
  std::mt19937 random(1);  // every run restarts at other moments anyway
  for (int i = 0; i < restarts && board->failures == 0; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(random() % 2000));
    daemon.lose(i % 2 == 0);
    daemon.start();
  }
  board->stop = true;
  all_end_well();
  int fates[3] = {};
  for (const auto& of_sender : board->fates) {
    for (const auto& fate : of_sender) ++fates[static_cast<int>(fate.load())];
  }
  EXPECT_LT(restarts * int{senders} / 10, fates[1]);
  std::printf("%d restarts, %d events sent, %d not known to be\n", restarts, fates[1], fates[2]);
}

}  // namespace
}  // namespace ox::test
