// Events through a real manager, from a sending process to waiting ones: the time of one delivery while events flow,
// and the time from sending to the callback of single ones; and traps, from the network to a wait. All processes run on
// the caller's CPUs.
#include <benchmark/benchmark.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <asio/buffer.hpp>
#include <asio/io_context.hpp>
#include <asio/ip/udp.hpp>
#include <atomic>
#include <chrono>
#include <csignal>
#include <utility>
#include <vector>

#include <oxbase/oxa.h>
#include <oxbase/oxc.h>
#include <oxbase/oxe.h>
#include <oxbase/oxs.h>

#include "bench/installation.h"
#include "manager/base/log.h"
#include "manager/daemon.h"

namespace {

using asio::ip::udp;
using ox::bench::give_up;
using Clock = std::chrono::steady_clock;

constexpr std::uint64_t flow = 2000;  // events of one measurement
constexpr std::uint64_t singles = 1000;
constexpr std::uint64_t traps = 100000;
constexpr std::uint64_t traps_ahead = 4000;  // sent and not delivered yet: fewer than the socket's buffer holds

// What the processes share.
struct Board {
  std::atomic<std::uint64_t> delivered;
  std::atomic<int> ready;
  Clock::time_point called;  // the last callback
  double flow_seconds;
  double median_seconds;
  double late_seconds;  // the 99th of a hundred
};
Board* board = nullptr;

// A free one, the same in every process.
std::uint16_t trap_port() {
  static const std::uint16_t port = [] {
    asio::io_context loop;
    return udp::socket(loop, {asio::ip::address_v4::loopback(), 0}).local_endpoint().port();
  }();
  return port;
}

// The manager, a process of its own that ends with the benchmark.
class Manager {
 public:
  Manager() {
    ox::bench::install(
        ox::bench::system_root() / "delivery",
        "TrapAddress:\t127.0.0.1\nTrapPort:\t" + std::to_string(trap_port()) + "\nTrapSourceRate:\t0\nTrapRate:\t0\n");
    void* const memory = mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) give_up("mmap", 0);
    board = new (memory) Board{};
    pid_ = fork();
    if (pid_ != 0) return;
    ox::manager::log_to_stderr();
    _exit(ox::manager::run_daemon());
  }
  ~Manager() {
    (void)kill(pid_, SIGTERM);
    (void)waitpid(pid_, nullptr, 0);
  }
  Manager(const Manager&) = delete;
  Manager& operator=(const Manager&) = delete;

 private:
  pid_t pid_ = 0;
};

void open_session() {
  OX_RESULT result = oxaInit(nullptr);
  for (int tries = 0; tries < 10 && result != OX_OK; ++tries) result = oxaInit(nullptr);
  if (result != OX_OK) give_up("session", result);
}

OX_RESULT OX_CALL on_events(void*, std::uint32_t, void*, evmsg* list, OX_RESULT code) {
  if (code != OX_OK) give_up("delivery", code);
  board->called = Clock::now();
  (void)oxeEvmsgFree(list);
  ++board->delivered;
  return OX_OK;
}

pid_t start_waiter() {
  const pid_t pid = fork();
  if (pid != 0) return pid;
  open_session();
  void* wait = nullptr;
  if (const OX_RESULT result = oxeEventWaitOpen(nullptr, 0, on_events, nullptr, &wait)) give_up("wait", result);
  ++board->ready;
  while (oxaDispatch(0xFFFFFFFF) == OX_OK) {
  }
  _exit(0);
}

class Sender {
 public:
  Sender() {
    open_session();
    if (const OX_RESULT result = oxeEventOpen(nullptr, "bench", &handle_)) give_up("handle", result);
  }
  void send() const {
    evmsg* const event = oxeEvmsgAlloc();
    (void)oxeEvmsgSetEventType(event, OX_EVENT_LEVELLED | 3);
    (void)oxeEvmsgSetCompType(event, "node");
    (void)oxeEvmsgSetCompName(event, "router1");
    (void)oxeEvmsgSetMemo(event, "line 3 is down");
    if (const OX_RESULT result = oxeEventSend(handle_, event)) give_up("send", result);
    (void)oxeEvmsgFree(event);
  }

 private:
  std::uint32_t handle_ = 0;
};

// Gives up when none has come for a while: what is lost is never delivered.
void wait_for(std::uint64_t deliveries) {
  constexpr std::chrono::seconds patience{30};
  auto until = Clock::now() + patience;
  for (std::uint64_t seen = board->delivered; seen < deliveries; usleep(20)) {
    if (std::exchange(seen, board->delivered) != seen) until = Clock::now() + patience;
    if (Clock::now() > until) give_up("deliveries missing", static_cast<OX_RESULT>(deliveries - seen));
  }
}

// Many events, as fast as they are answered for.
void measure_flow(const Sender& sender, std::uint64_t waiters) {
  const auto begin = Clock::now();
  for (std::uint64_t i = 0; i < flow; ++i) sender.send();
  wait_for(flow * waiters);
  board->flow_seconds = std::chrono::duration<double>(Clock::now() - begin).count();
}

// A trap as a device sends it when a link goes down, no two alike.
std::vector<unsigned char> make_trap(std::uint64_t number) {
  char enterprise[] = "1.3.6.1.4.1.64312.2";
  unsigned char community[] = "public";
  oxsSnmpTrap trap{};
  trap.version = OXS_V2C;
  trap.community = community;
  trap.communityLength = sizeof community - 1;
  trap.pduType = OXS_TRAP2;
  trap.enterprise = enterprise;
  trap.specificTrap = 17;
  const char* const names[] = {"1.3.6.1.2.1.2.2.1.1.3", "1.3.6.1.2.1.2.2.1.7.3", "1.3.6.1.2.1.2.2.1.8.3"};
  for (const char* name : names) {
    dnode* const node = oxdAlloc(1);
    (void)oxdSetAmibName(node, name);
    (void)oxdSetLong(node, static_cast<std::int32_t>(number));
    (void)oxcQueueAdd(&trap.bindings, node);
  }
  void* bytes = nullptr;
  std::uint32_t length = 0;
  if (const OX_RESULT result = oxsSnmpTrapEncode(&trap, &bytes, &length)) give_up("trap", result);
  const auto* const first = static_cast<unsigned char*>(bytes);
  std::vector<unsigned char> made(first, first + length);
  (void)oxcMemFree(bytes);
  (void)oxdFree(trap.bindings);
  return made;
}

// As many as the wait takes. They are numbered from `first`: one that has been there is a repeat, and no event.
void measure_traps(std::uint64_t first) {
  std::vector<std::vector<unsigned char>> made;
  for (std::uint64_t i = 0; i < traps; ++i) made.push_back(make_trap(first + i));
  asio::io_context loop;
  udp::socket socket(loop, udp::v4());
  socket.connect({asio::ip::address_v4::loopback(), trap_port()});
  const auto begin = Clock::now();
  for (std::uint64_t i = 0; i < traps; ++i) {
    // In bursts, so that the sender's own waking costs the others nothing.
    if (i >= traps_ahead && i % (traps_ahead / 2) == 0) wait_for(i - traps_ahead / 2);
    (void)socket.send(asio::buffer(made[i]));
  }
  wait_for(traps);
  board->flow_seconds = std::chrono::duration<double>(Clock::now() - begin).count();
}

// Events one by one.
void measure_singles(const Sender& sender) {
  std::vector<double> seconds;
  for (std::uint64_t i = 0; i < singles; ++i) {
    const auto begin = Clock::now();
    sender.send();
    wait_for(i + 1);
    seconds.push_back(std::chrono::duration<double>(board->called - begin).count());
  }
  std::sort(seconds.begin(), seconds.end());
  board->median_seconds = seconds[singles / 2];
  board->late_seconds = seconds[singles * 99 / 100];
}

// A session belongs to its process and lasts as long: each measurement has processes of its own.
enum class Kind { many_events, single_events, many_traps };
void measure(int waiters, Kind kind) {
  static const Manager manager;
  static std::uint64_t first_trap = 0;
  if (kind == Kind::many_traps) first_trap += traps;
  board->delivered = 0;
  board->ready = 0;
  std::vector<pid_t> pids;
  for (int i = 0; i < waiters; ++i) pids.push_back(start_waiter());
  const pid_t sending = fork();
  if (sending == 0) {
    const Sender sender;
    while (board->ready < waiters) usleep(1000);
    if (kind == Kind::many_events) measure_flow(sender, static_cast<std::uint64_t>(waiters));
    if (kind == Kind::single_events) measure_singles(sender);
    if (kind == Kind::many_traps) measure_traps(first_trap);
    _exit(0);
  }
  int status = 0;
  (void)waitpid(sending, &status, 0);
  for (const pid_t pid : pids) {
    (void)kill(pid, SIGKILL);
    (void)waitpid(pid, nullptr, 0);
  }
  if (status != 0) std::exit(1);  // the sender has said why; the manager ends, too
}

void event_delivery(benchmark::State& state) {
  const auto waiters = static_cast<int>(state.range(0));
  for (auto _ : state) {
    measure(waiters, Kind::many_events);
    state.SetIterationTime(board->flow_seconds / static_cast<double>(flow * static_cast<std::uint64_t>(waiters)));
  }
}
BENCHMARK(event_delivery)->Arg(1)->Arg(20)->Iterations(1)->UseManualTime();

void trap_to_wait(benchmark::State& state) {
  for (auto _ : state) {
    measure(1, Kind::many_traps);
    state.SetIterationTime(board->flow_seconds / static_cast<double>(traps));
  }
  state.counters["per_second"] = static_cast<double>(traps) / board->flow_seconds;
}
BENCHMARK(trap_to_wait)->Iterations(1)->UseManualTime();

void event_latency_median(benchmark::State& state) {
  for (auto _ : state) {
    measure(1, Kind::single_events);
    state.SetIterationTime(board->median_seconds);
  }
}
BENCHMARK(event_latency_median)->Iterations(1)->UseManualTime();

void event_latency_99th_of_100(benchmark::State& state) {
  for (auto _ : state) {
    measure(1, Kind::single_events);
    state.SetIterationTime(board->late_seconds);
  }
}
BENCHMARK(event_latency_99th_of_100)->Iterations(1)->UseManualTime();

}  // namespace
