// Sets through a real manager, of random ones among many components of ten values beside the same among few. The
// client, the manager and what moves its changes into the database run on the caller's CPUs.
#include <benchmark/benchmark.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <random>
#include <vector>

#include <oxbase/oxa.h>

#include "bench/installation.h"
#include "manager/base/attributes.h"
#include "manager/base/log.h"
#include "manager/components/file.h"
#include "manager/daemon.h"
#include "manager/jobs/log_entry.h"

namespace {

namespace fs = std::filesystem;
using namespace ox::manager;
using ox::bench::give_up;

constexpr std::uint32_t values = 10;  // of a component
constexpr std::uint32_t sets = 2000;  // of one measurement
constexpr std::uint32_t before = 20;  // measurements that do not count: pages are read into memory

std::string name_of(std::uint32_t number) { return "router" + std::to_string(number); }
Oid path_of(std::uint32_t value) { return {11, 5, value + 1, 0}; }

// As a client would have made them, one by one.
void lay_down(const std::string& folder, std::uint32_t components) {
  constexpr std::uint32_t at_once = 1000;
  ComponentFile file(folder, Durability::process);
  Store store;
  if (!file.open([](const std::string& name, std::uint32_t, const std::string& text) { give_up(name + ": " + text); }))
    give_up("database");
  while (file.load(store, std::chrono::steady_clock::time_point::max()) == ComponentFile::Loading::more) {
  }
  std::vector<Change> batch;
  for (std::uint32_t i = 0; i < components; ++i) {
    const ComponentName name{"node", name_of(i)};
    batch.push_back({.component = name});
    for (std::uint32_t value = 0; value < values; ++value)
      batch.push_back(number_change(name, path_of(value), i, OX_INTEGER));
    if ((i + 1) % at_once == 0 && file.commit(store, std::exchange(batch, {})) != OX_OK) give_up("components");
  }
}

OX_RESULT set(std::uint32_t component, std::uint32_t number) {
  dnode* const node = oxdAlloc(1);
  (void)oxdSetCompType(node, "node");
  (void)oxdSetCompName(node, name_of(component).c_str());
  (void)oxdSetAmibName(node, oid_text(node_port_path).c_str());
  (void)oxdSetLong(node, static_cast<std::int32_t>(number));
  dnode* answer = nullptr;
  const OX_RESULT result = oxaSet(nullptr, 0, 20, node, &answer);
  (void)oxdFree(answer);
  (void)oxdFree(node);
  return result;
}

double seconds_of_sets(std::uint32_t components, std::minstd_rand& random) {
  const auto begin = std::chrono::steady_clock::now();
  for (std::uint32_t i = 0; i < sets; ++i) {
    const auto component = static_cast<std::uint32_t>(random()) % components;
    if (const OX_RESULT result = set(component, i)) give_up("set", result);
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// A system with so many components, its manager, and a client that measures whenever a byte comes.
[[noreturn]] void work(const fs::path& root, std::uint32_t components, int orders, int results) {
  fs::create_directories(root);
  (void)setenv("OXBASE_SYSTEM", root.c_str(), 1);
  ox::bench::install(root, "TrapPort:\t0\n");
  lay_down(root / "work/data", components);
  const pid_t manager = fork();
  if (manager == 0) {
    log_to_stderr();
    _exit(run_daemon());
  }
  OX_RESULT result = oxaInit(nullptr);
  for (int tries = 0; tries < 10 && result != OX_OK; ++tries) result = oxaInit(nullptr);
  if (result != OX_OK) give_up("session", result);
  std::minstd_rand random;
  for (std::uint32_t i = 0; i < before; ++i) (void)seconds_of_sets(components, random);
  for (char order = 0; read(orders, &order, 1) == 1;) {
    const double seconds = seconds_of_sets(components, random);
    if (write(results, &seconds, sizeof seconds) != sizeof seconds) break;
  }
  (void)kill(manager, SIGTERM);
  (void)waitpid(manager, nullptr, 0);
  std::_Exit(0);
}

class System {
 public:
  explicit System(std::uint32_t components) {
    const fs::path root = ox::bench::system_root() / ("set-" + std::to_string(components));
    int orders[2];
    int results[2];
    if (pipe2(orders, O_CLOEXEC) != 0 || pipe2(results, O_CLOEXEC) != 0) give_up("pipe");
    pid_ = fork();
    if (pid_ == 0) {
      (void)close(orders[1]);
      work(root, components, orders[0], results[1]);
    }
    (void)close(orders[0]);
    (void)close(results[1]);
    order_ = orders[1];
    result_ = results[0];
  }
  ~System() {
    (void)close(order_);
    (void)waitpid(pid_, nullptr, 0);
  }
  System(const System&) = delete;
  System& operator=(const System&) = delete;

  [[nodiscard]] double measure() const {
    double seconds = 0;
    if (write(order_, "", 1) != 1 || read(result_, &seconds, sizeof seconds) != sizeof seconds) give_up("no result");
    return seconds;
  }

 private:
  pid_t pid_ = 0;
  int order_ = -1;
  int result_ = -1;
};

template <std::uint32_t Components>
void set_among(benchmark::State& state) {
  static const System system(Components);
  for (auto _ : state) state.SetIterationTime(system.measure() / sets);
}
BENCHMARK(set_among<100000>)->Name("set_among_100000")->Iterations(1)->UseManualTime();
BENCHMARK(set_among<1000>)->Name("set_among_100000_rival_among_1000")->Iterations(1)->UseManualTime();

}  // namespace
