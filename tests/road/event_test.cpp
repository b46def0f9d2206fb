// Events on the road: real senders and waiters, each a process of its own, and a manager that is killed.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <oxbase/oxa.h>
#include <oxbase/oxe.h>

#include "tests/road/daemon.h"
#include "tests/support/system_root.h"

namespace ox::test {
namespace {

// Of each sender. Under a sanitizer a delivery costs so much more that the full number would take minutes; the races
// and the memory that it watches are the same for fewer.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::uint32_t events_of_sender = 500;
#else
constexpr std::uint32_t events_of_sender = 25000;
#endif
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
  // The last number that each waiter has had of each sender.
  std::uint32_t had[waiters][senders];
};

class EventRoad : public testing::Test {
 protected:
  void SetUp() override {
    void* const memory = mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(MAP_FAILED, memory);
    board = new (memory) Board{};
  }
  void TearDown() override { (void)munmap(board, sizeof(Board)); }

  // Runs it in a process of its own; its result is the exit status.
  pid_t start(const std::function<int()>& body) {
    const pid_t pid = fork();
    if (pid == 0) _exit(body());
    return pid;
  }
  static int end_of(pid_t pid) {
    int status = -1;
    (void)waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + status;
  }
  void wait_until(const std::function<bool()>& condition) const {
    for (int i = 0; i < 30000 && !condition() && board->failures == 0; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(condition());
  }

  Board* board = nullptr;
};

constexpr int done = 0;
constexpr int connection_lost = 1;
constexpr int failed = 2;

int fail(Board& board, const char* what, std::uint32_t code) {
  std::fprintf(stderr, "process %d: %s (%u)\n", static_cast<int>(getpid()), what, code);
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

std::string name_of(std::uint32_t waiter) { return "road" + std::to_string(waiter); }

evmsg* event_of(std::uint32_t sender, std::uint32_t number) {
  evmsg* const event = oxeEvmsgAlloc();
  (void)oxeEvmsgSetEventType(event, sender);
  (void)oxeEvmsgSetMsgNumber(event, number);
  return event;
}

// Sends what is left from `next` on; the first that is not sent is left there.
OX_RESULT send_all(Board& board, std::uint32_t sender, std::uint32_t& next) {
  std::uint32_t handle = 0;
  OX_RESULT result = oxeEventOpen(nullptr, "road", &handle);
  for (; result == OX_OK && next <= events_of_sender; ++next) {
    evmsg* const event = event_of(sender, next);
    result = oxeEventSend(handle, event);
    (void)oxeEvmsgFree(event);
    if (result != OX_OK) break;
    ++board.sent;
  }
  return result;
}

TEST_F(EventRoad, EveryWaiterHasEveryEventInOrder) {
  const Daemon daemon;
  std::vector<pid_t> processes;
  for (std::uint32_t number = 0; number < waiters; ++number) {
    processes.push_back(start([&] {
      if (const OX_RESULT result = oxaInit(on_disconnect)) return fail(*board, "oxaInit", result);
      return Waiter{*board, number, false}.run(nullptr);
    }));
  }
  wait_until([&] { return board->ready == waiters; });
  for (std::uint32_t sender = 0; sender < senders; ++sender) {
    processes.push_back(start([&] {
      std::uint32_t next = 1;
      OX_RESULT result = oxaInit(nullptr);
      if (result == OX_OK) result = send_all(*board, sender, next);
      return result == OX_OK ? done : fail(*board, "send", result);
    }));
  }
  for (const pid_t process : processes) EXPECT_EQ(done, end_of(process));
  EXPECT_EQ(senders * events_of_sender, board->sent);
}

// A process has one connection in its life: whoever outlives the manager goes on as a new process.
int live_on(const std::function<int()>& life) {
  for (int lives = 0; lives < 20; ++lives) {
    const pid_t pid = fork();
    if (pid == 0) {
      OX_RESULT result = oxaInit(on_disconnect);
      for (int tries = 0; result != OX_OK && tries < 60; ++tries) result = oxaInit(on_disconnect);  // a second each
      _exit(result == OX_OK ? life() : failed);
    }
    int status = 0;
    (void)waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != connection_lost) return WEXITSTATUS(status);
  }
  return failed;
}

TEST_F(EventRoad, PersistentWaitsOutliveTheManager) {
  Daemon daemon;
  std::vector<pid_t> processes;
  for (std::uint32_t number = 0; number < waiters; ++number) {
    processes.push_back(start([&] {
      return live_on([&] { return Waiter{*board, number, true}.run(name_of(number).c_str()); });
    }));
  }
  wait_until([&] { return board->ready >= waiters; });
  auto* const next = static_cast<std::uint32_t*>(
      mmap(nullptr, sizeof(std::uint32_t) * senders, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  for (std::uint32_t sender = 0; sender < senders; ++sender) {
    next[sender] = 1;
    processes.push_back(start([&] {
      return live_on([&] {
        const OX_RESULT result = send_all(*board, sender, next[sender]);
        if (result == OX_OK) return done;
        if (result != OX_ECLOSED && result != OX_ENOSESSION) return fail(*board, "send", result);
        // The last one is sent again and again: by it the waiters know the end.
        if (result == OX_ECLOSED && next[sender] < events_of_sender) board->unanswered[sender][next[sender]++] = true;
        return connection_lost;
      });
    }));
  }
  wait_until([&] { return board->sent >= senders * events_of_sender / 2; });
  daemon.kill();
  daemon.start();
  for (const pid_t process : processes) EXPECT_EQ(done, end_of(process));
  (void)munmap(next, sizeof(std::uint32_t) * senders);
}

// What the icon wait's callback was told: "top router 3".
void OX_CALL on_icon(void*, void* argument, const char* component, const char* name, std::uint32_t status,
                     OX_RESULT code) {
  *static_cast<std::string*>(argument) = code != OX_OK
                                             ? "error " + std::to_string(code)
                                             : std::string(component != nullptr ? component : "-") + ' ' +
                                                   (name != nullptr ? name : "-") + ' ' + std::to_string(status);
}

TEST_F(EventRoad, IconWaitsAreToldOfAnIconsChange) {
  const Daemon daemon;
  ASSERT_EQ("0 ", run_program({"oxset", "--add", "map:top"}));
  const pid_t waiter = start([&] {
    std::string told;
    void* wait = nullptr;
    OX_RESULT result = oxaInit(on_disconnect);
    if (result == OX_OK) result = oxeEventIconWaitOpen(nullptr, "top", on_icon, &told, &wait);
    if (result != OX_OK) return fail(*board, "no icon wait", result);
    ++board->ready;
    if (oxaDispatch(60000) != OX_OK || told != "top router 3") return fail(*board, told.c_str(), 0);
    return oxeEventIconWaitClose(wait) == OX_OK ? done : failed;
  });
  wait_until([&] { return board->ready == 1; });
  EXPECT_EQ("0 ", run_program({"oxset", "map:top", "obj.map.mapIconStatus.0", "3", "obj.map.mapIconName.0", "router"}));
  EXPECT_EQ(done, end_of(waiter));
}

}  // namespace
}  // namespace ox::test
