// A session with a manager that does nothing. A request's round trip beside a bare stream socket with one write and one
// read of the same sizes. The other end is a process of the same kind in both cases, and all run on one CPU.
#include <benchmark/benchmark.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include <oxbase/oxa.h>
#include <oxbase/oxb.h>

#include "platform/linux/socket_path.h"
#include "platform/named_event.h"
#include "platform/registry.h"

namespace {

namespace fs = std::filesystem;

constexpr char manager[] = "manager-10";  // makes a header of 60 bytes
constexpr std::size_t request_size = 60;
constexpr std::size_t reply_size = 200;

[[noreturn]] void give_up(const char* what) {
  std::perror(what);
  std::exit(1);
}

void stay_on_one_cpu() {
  cpu_set_t cpus;
  if (sched_getaffinity(0, sizeof cpus, &cpus) != 0) give_up("sched_getaffinity");
  for (int cpu = 0; cpu < CPU_SETSIZE; ++cpu) {
    if (!CPU_ISSET(cpu, &cpus)) continue;
    CPU_ZERO(&cpus);
    CPU_SET(cpu, &cpus);
    break;
  }
  if (sched_setaffinity(0, sizeof cpus, &cpus) != 0) give_up("sched_setaffinity");
}

std::array<unsigned char, reply_size> reply() {
  std::array<unsigned char, reply_size> bytes{};
  bytes[3] = 36;               // header length
  bytes[7] = reply_size - 36;  // data length
  return bytes;
}

// Answers every request until the other end is closed.
[[noreturn]] void answer(int socket) {
  const auto bytes = reply();
  std::array<char, 4096> request;
  while (read(socket, request.data(), request.size()) > 0) {
    if (write(socket, bytes.data(), bytes.size()) < 0) break;
  }
  _exit(0);
}

void install() {
  const fs::path home = fs::path(std::getenv("OXBASE_SYSTEM")) / "home";
  for (const char* language : {"0409", "0411"}) {
    fs::create_directories(home / "LIB/LOCALE" / language);
    std::ofstream(home / "LIB/LOCALE" / language / "OXERROR.MSG") << "17:Connection lost\r\n";
  }
  std::ofstream(home / "bench.def") << "obj amibtop.11 AMIBNONE not-accessible NULL-ACS\n";
  constexpr char key[] = "SOFTWARE\\CORVID\\OXBASE";
  if (ox::platform::registry_write(key, "HomeDir", home.c_str()) != 0) give_up("registry");
  static ox::platform::NamedEvent base_services;
  if (base_services.create("Global\\OxWaitEvent", ox::platform::Access::machine) != 0) give_up("OxWaitEvent");
  oxbInitAmibTree(1120);
  if (oxbAddAmibTree((home / "bench.def").c_str()) != 0) give_up("tree");
}

pid_t server = 0;  // the process that plays the manager

void serve_session(int listener) {
  server = fork();
  if (server != 0) return;
  const int session = accept(listener, nullptr, nullptr);
  close(listener);
  std::array<unsigned char, 256> greeting;
  const std::array<unsigned char, 4> welcome{0, 4, 0, 0};
  if (read(session, greeting.data(), greeting.size()) <= 0) _exit(1);
  if (write(session, welcome.data(), welcome.size()) < 0) _exit(1);
  answer(session);
}

bool lost = false;
void OX_CALL on_loss(std::uint32_t, OX_RESULT, std::uint32_t) { lost = true; }

void connect(int listener) {
  serve_session(listener);
  if (const OX_RESULT result = oxaInit(on_loss)) {
    std::fprintf(stderr, "oxaInit gives %u\n", result);
    std::exit(1);
  }
}

// Where sessions are served from.
int open_session() {
  stay_on_one_cpu();
  if (std::getenv("OXBASE_SYSTEM") == nullptr) {
    std::string root = (fs::temp_directory_path() / "oxbench-XXXXXX").string();
    if (mkdtemp(root.data()) == nullptr || setenv("OXBASE_SYSTEM", root.c_str(), 1) != 0) give_up("system root");
  }
  const std::string path = ox::platform::socket_path("\\\\.\\PIPE\\ox_stdpipe", true);
  ox::platform::SocketAddress address;
  const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  (void)unlink(path.c_str());
  if (!address.set(path) || bind(listener, address.get(), address.size()) != 0 || listen(listener, 1) != 0) {
    give_up("listen");
  }
  install();
  connect(listener);
  return listener;
}

int session_listener() {
  static const int listener = open_session();
  return listener;
}

int open_bare_socket() {
  stay_on_one_cpu();
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0) give_up("socketpair");
  if (fork() == 0) {
    close(ends[0]);
    answer(ends[1]);
  }
  close(ends[1]);
  return ends[0];
}

void request_round_trip(benchmark::State& state) {
  benchmark::DoNotOptimize(session_listener());
  for (auto _ : state) {
    if (oxaCompUnlock2(1, manager) != 0) state.SkipWithError("the request failed");
  }
}
BENCHMARK(request_round_trip)->UseRealTime();

// From the manager's death to the callback that tells it, in a process that waits.
void loss_is_told(benchmark::State& state) {
  using Clock = std::chrono::steady_clock;
  const int listener = session_listener();
  for (auto _ : state) {
    const auto start = Clock::now();
    (void)kill(server, SIGKILL);
    while (!lost) (void)oxaDispatch(1000);
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    (void)waitpid(server, nullptr, 0);
    lost = false;
    connect(listener);
  }
}
BENCHMARK(loss_is_told)->Iterations(200)->UseManualTime();

void request_round_trip_rival_socket(benchmark::State& state) {
  static const int socket = open_bare_socket();
  std::array<char, request_size> request{};
  std::array<char, 4096> got;
  for (auto _ : state) {
    if (write(socket, request.data(), request.size()) != static_cast<ssize_t>(request.size()) ||
        read(socket, got.data(), got.size()) != static_cast<ssize_t>(reply_size)) {
      state.SkipWithError("the socket failed");
    }
    benchmark::DoNotOptimize(got);
  }
}
BENCHMARK(request_round_trip_rival_socket)->UseRealTime();

}  // namespace
