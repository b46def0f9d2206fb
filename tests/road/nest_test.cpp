// Deliveries that nest, by library and manager together: a client whose callbacks do at random what callbacks may do,
// that dies, is killed and comes back, and books of what each wait has had.
//
// OXBASE_MODEL_SECONDS is how long it goes on (a few), OXBASE_MODEL_SEED where it begins (1).
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <new>
#include <random>
#include <stdexcept>

#include <oxbase/oxa.h>
#include <oxbase/oxe.h>

#include "platform/shared_block.h"
#include "tests/road/daemon.h"
#include "tests/support/other_process.h"
#include "tests/support/test.h"

namespace ox::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int wait_count = 4;
constexpr int deepest = 3;  // callbacks inside each other that still do something
constexpr int actions = 100;
constexpr auto patience = std::chrono::seconds(60);
constexpr char board_name[] = "nest.board";
enum Exit { done, died, failed };

// What outlives the client. All events are its own, so that their numbers follow each other.
struct Board {
  std::atomic<std::uint32_t> sent;
  std::atomic<std::uint32_t>
      next[wait_count];                    // the event that the wait has next; 0: not opened yet, by the first client
  std::atomic<bool> doubtful[wait_count];  // killed, perhaps between an event's note here and its answer,
  std::atomic<bool> sent_doubtful;         // or between an event's sending and its note
  std::atomic<std::uint32_t> taken, refused, thrown, closed_inside, deaths, answered[deepest + 1];
};

class Client;
struct NamedWait {
  Client* client = nullptr;
  int number = 0;
  void* handle = nullptr;
};

class Client {
 public:
  Client(Board& board, std::uint32_t seed) : board_(board), random_(seed) {
    for (int i = 0; i < wait_count; ++i) waits_[i] = {this, i, nullptr};
  }

  int live() {
    send();
    open_all();
    for (int i = 0; i < actions && good_; ++i) {
      act();
      if (!dispatch(random(4))) return failed;
    }
    return good_ ? done : failed;
  }
  // Takes all that is left.
  int finish() {
    send();
    calm_ = true;
    const auto end = Clock::now() + patience;
    while (good_ && !complete() && Clock::now() < end) {
      open_all();
      (void)dispatch(50);
    }
    return good_ && complete() ? done : fail("not all has come", board_.sent);
  }

 private:
  std::uint32_t random(std::uint32_t below) { return static_cast<std::uint32_t>(random_() % below); }
  bool chance(std::uint32_t percent) { return !calm_ && random(100) < percent; }
  int fail(const char* what, std::uint32_t number) {
    std::fprintf(stderr, "%s (%u)\n", what, number);
    good_ = false;
    return failed;
  }
  void expect(std::uint32_t wanted, std::uint32_t result, const char* what) {
    if (result != wanted) (void)fail(what, result);
  }
  bool dispatch(std::uint32_t milliseconds) {
    expect(0, oxaDispatch(milliseconds), "dispatch");
    return good_;
  }
  [[nodiscard]] bool complete() const {
    for (const auto& next : board_.next) {
      if (next <= board_.sent) return false;
    }
    return true;
  }

  void act() {
    switch (random(10)) {
      case 0:
      case 1:
      case 2:
        return send();
      case 3:
      case 4:
        return turn(waits_[random(wait_count)]);
      case 5:
        return turn_plain();
      case 6:
        return ask();
      default:
        (void)dispatch(random(3));
        if (!chance(1)) return;
        ++board_.deaths;
        std::_Exit(died);
    }
  }
  void send() {
    if (handle_ == 0) expect(0, oxeEventOpen(nullptr, "nest", &handle_), "handle");
    evmsg* const event = oxeEvmsgAlloc();
    expect(0, oxeEventSend(handle_, event), "send");
    if (board_.sent_doubtful.exchange(false) && board_.sent + 2 == number_of(event)) ++board_.sent;
    expect(++board_.sent, number_of(event), "number");
    (void)oxeEvmsgFree(event);
  }
  void open(NamedWait& wait) {
    const std::string name = "nest" + std::to_string(wait.number);
    const OX_RESULT result = oxeEventWaitOpenEx(name.c_str(), on_delivery, &wait, &wait.handle);
    if (result == OX_EEXISTS) return;  // the manager has not noticed yet that the last client is dead
    expect(0, result, "open");
    std::uint32_t never = 0;
    (void)board_.next[wait.number].compare_exchange_strong(never, board_.sent + 1);
  }
  void open_all() {
    for (NamedWait& wait : waits_) {
      if (wait.handle == nullptr) open(wait);
    }
  }
  void turn(NamedWait& wait) {
    if (wait.handle == nullptr) return open(wait);
    if (depth_ != 0) ++board_.closed_inside;
    expect(0, oxeEventWaitCloseEx(std::exchange(wait.handle, nullptr)), "close");
  }
  void turn_plain() {
    if (plain_ != nullptr) return expect(0, oxeEventWaitClose(std::exchange(plain_, nullptr)), "close plain");
    next_plain_ = board_.sent + 1;
    expect(0, oxeEventWaitOpen(nullptr, 0, on_event, this, &plain_), "open plain");
  }
  // A request whose answer is waited for, wherever this is called.
  void ask() {
    bool answered = false;
    void* request = nullptr;
    expect(0, oxaAsyGet(nullptr, "system:system", "11.1.1.0", nullptr, 0, 0, on_answer, &answered, &request), "get");
    const auto end = Clock::now() + patience;
    while (good_ && !answered && Clock::now() < end) (void)dispatch(random(2) * 5000);
    if (!answered) (void)fail("no answer at depth", depth_);
    expect(0, oxaClose(request), "close get");
    ++board_.answered[depth_];
  }
  void act_inside() {
    if (++depth_ <= deepest) {
      for (std::uint32_t left = calm_ ? 0 : random(3); left != 0 && good_; --left) act();
    }
    --depth_;
  }

  static std::uint32_t number_of(const evmsg* event) {
    std::uint32_t number = 0;
    (void)oxeEvmsgGetSndId(event, &number);
    return number;
  }
  static void OX_CALL on_answer(void*, void* argument, dnode* list, OX_RESULT) {
    (void)oxdFree(list);
    *static_cast<bool*>(argument) = true;
  }
  static OX_RESULT OX_CALL on_event(void*, std::uint32_t, void* argument, evmsg* list, OX_RESULT code) {
    Client& self = *static_cast<Client*>(argument);
    self.expect(0, code, "plain");
    self.expect(self.next_plain_++, number_of(list), "plain number");
    (void)oxeEvmsgFree(list);
    self.act_inside();
    if (self.chance(3)) throw std::runtime_error("plain");
    return 0;
  }
  static OX_RESULT OX_CALL on_delivery(void*, std::uint32_t, void* argument, evmsg* list, OX_RESULT code) {
    const NamedWait& wait = *static_cast<NamedWait*>(argument);
    const std::uint32_t number = number_of(list);
    (void)oxeEvmsgFree(list);
    return wait.client->deliver(wait.number, number, code);
  }
  OX_RESULT deliver(int wait, std::uint32_t number, OX_RESULT code) {
    expect(0, code, "delivery");
    if (std::exchange(delivering_, true)) (void)fail("delivered inside a delivery", number);
    auto& next = board_.next[wait];
    if (board_.doubtful[wait].exchange(false) && number + 1 == next) --next;
    expect(next, number, "delivered out of its turn");
    act_inside();
    expect(next, number, "taken inside its own delivery");
    delivering_ = false;
    if (chance(2)) {
      ++board_.thrown;
      throw number;
    }
    if (chance(2)) return ++board_.refused;
    ++board_.taken;
    ++next;
    return 0;
  }

  Board& board_;
  std::mt19937 random_;
  NamedWait waits_[wait_count];
  void* plain_ = nullptr;
  std::uint32_t next_plain_ = 0;
  std::uint32_t handle_ = 0;
  std::uint32_t depth_ = 0;
  bool delivering_ = false;
  bool calm_ = false;
  bool good_ = true;
};

template <auto part>
int play(OtherProcess& process) {
  platform::SharedBlock block;
  if (block.open(board_name, platform::SharedBlock::Mode::write) != platform::error_none) return failed;
  if (oxaInit(nullptr) != OX_OK) return failed;
  Client client(*static_cast<Board*>(block.data()), static_cast<std::uint32_t>(std::stoul(process.text())));
  return (client.*part)();
}
[[maybe_unused]] const bool declared[] = {OtherProcess::declare("live", play<&Client::live>),
                                          OtherProcess::declare("finish", play<&Client::finish>)};

TEST(Nesting, EveryDeliveryIsTakenOnceWhateverCallbacksDo) {
  platform::SharedBlock block;
  ASSERT_EQ(platform::error_none, block.create(board_name, sizeof(Board), platform::Access::machine));
  Board& board = *new (block.data()) Board{};
  const Daemon daemon;
  const auto live = [](const char* part, int seed, std::chrono::milliseconds limit) {
    Program process = OtherProcess::start(part, std::to_string(seed));
    return process.wait(limit);  // and killed
  };
  const auto end = Clock::now() + std::chrono::seconds(number_from("OXBASE_MODEL_SECONDS", 4));
  int seed = number_from("OXBASE_MODEL_SEED", 1);
  for (; Clock::now() < end; ++seed) {
    const bool killed = seed % 4 == 0;
    const int status = live("live", seed, killed ? std::chrono::milliseconds(100) : std::chrono::milliseconds(300'000));
    ASSERT_TRUE(status == done || status == died || (killed && status == -1))
        << "seed " << seed << ", status " << status << '\n'
        << OtherProcess::log();
    if (status != -1) continue;
    for (auto& doubtful : board.doubtful) doubtful = true;
    board.sent_doubtful = true;
  }
  ASSERT_EQ(done, live("finish", seed, std::chrono::minutes(2))) << "seed " << seed << '\n' << OtherProcess::log();
  for (const auto& [what, count] : {std::pair("taken", &board.taken),
                                    {"refused", &board.refused},
                                    {"thrown", &board.thrown},
                                    {"closed inside", &board.closed_inside},
                                    {"answered inside", &board.answered[1]},
                                    {"two deep", &board.answered[2]}}) {
    EXPECT_NE(0u, *count) << what;
    RecordProperty(what, static_cast<int>(*count));
  }
}

}  // namespace
}  // namespace ox::test
