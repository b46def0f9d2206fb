// Collection by a whole manager from the simulated agents of many_agents: what a value costs of the manager's own CPU
// time, from the request to the database, and how late the last value of an agent is.
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/installation.h"
#include "manager/base/paths.h"
#include "manager/definitions.h"
#include "manager/requests/manager.h"
#include "manager/requests/router.h"

namespace {

namespace fs = std::filesystem;
using namespace ox::manager;
using ox::bench::give_up;

struct Options {
  std::size_t agents = 10000;
  std::uint16_t port = 20000;
  std::size_t troubled = 0;
  int seconds = 60;
  std::string interval = "10s";
  std::string names = ".2.2.1.{5,7,8,10,11,13,14,16,17,20}.{1,2,3,4,5}";
};

void add_agents(Manager& manager, const Options& options) {
  constexpr std::size_t batch_size = 500;
  std::vector<Change> batch;
  for (std::size_t i = 0; i < options.agents; ++i) {
    const ComponentName name{"node", "n" + std::to_string(i)};
    batch.push_back({.component = name});
    batch.push_back({.kind = Change::Kind::set,
                     .component = name,
                     .path = node_address_path,
                     .value = {OX_IPADDRESS, std::string("\x7F\0\0\1", 4)}});
    const auto port = static_cast<std::uint32_t>(options.port + i);
    batch.push_back(number_change(name, node_port_path, port, OX_INTEGER));
    if (batch.size() < 3 * batch_size && i + 1 != options.agents) continue;
    if (manager.commit(batch) != OX_OK) give_up("the agents cannot be written");
    batch.clear();
  }
}

void add_entry(Manager& manager, const Options& options) {
  const ComponentName name{"logEnt", "bench"};
  const Change added{.component = name};
  if (manager.commit(std::span(&added, 1)) != OX_OK) give_up("no log entry");
  const auto text = [&name](LogAttribute attribute, const std::string& value) {
    return text_change(name, log_path(attribute), value);
  };
  const std::vector<Change> set{
      text(LogAttribute::component, "node:*"),
      text(LogAttribute::names, options.names),
      text(LogAttribute::interval, options.interval),
      text(LogAttribute::rotate, "1D"),
      text(LogAttribute::expire, "1W"),
      number_change(name, log_path(LogAttribute::status), static_cast<std::uint32_t>(LogStatus::running), OX_INTEGER)};
  if (manager.commit(set) != OX_OK) give_up("the log entry cannot be written");
}

double cpu_seconds() {
  rusage usage{};
  (void)getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& time) { return double(time.tv_sec) + 1e-6 * double(time.tv_usec); };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

long megabytes() {
  std::ifstream file("/proc/self/statm");
  long size = 0, resident = 0;
  file >> size >> resident;
  return resident * 4096 >> 20;
}

Counts counts(const Manager& manager) { return manager.series.counts(manager.series.find("dataEnt1")); }

void print_lateness(const Manager& manager, const Options& options) {
  std::vector<std::int64_t> late;
  for (const auto& target : *manager.collector.find({"logEnt", "bench"})->targets) {
    if (std::stoul(target->name.name.substr(1)) >= options.troubled) late.push_back(target->took);
  }
  std::sort(late.begin(), late.end());
  std::printf("lateness of the %zu others: median %lld ms, 99th %lld ms, longest %lld ms\n", late.size(),
              static_cast<long long>(late[late.size() / 2]), static_cast<long long>(late[late.size() * 99 / 100]),
              static_cast<long long>(late.back()));
}

// The longest turn of the loop, in which nobody else is served.
struct Turns {
  explicit Turns(asio::io_context& loop) : timer(loop) { look(); }
  void look() {
    timer.expires_after(std::chrono::milliseconds(1));
    timer.async_wait([this](const asio::error_code& error) {
      if (error) return;
      longest = std::max(longest, std::chrono::steady_clock::now() - timer.expiry());
      look();
    });
  }
  asio::steady_timer timer;
  std::chrono::steady_clock::duration longest{};
};

void measure(asio::io_context& loop, Manager& manager, const Options& options) {
  const auto rounds = [&manager] { return manager.collector.find({"logEnt", "bench"})->last_collected; };
  while (rounds() == 0) (void)loop.run_one();  // the first one makes the series
  Turns turns(loop);
  const Counts before = counts(manager);
  const double cpu = cpu_seconds();
  (void)loop.run_for(std::chrono::seconds(options.seconds));
  const double used = cpu_seconds() - cpu;
  const Counts after = counts(manager);
  const auto stored = static_cast<double>(after.stored - before.stored);
  std::printf(
      "manager: %.0f values, %llu gaps, %.2f s of CPU in %d s: %.1f %% of a core, %.0f values a second of CPU, %ld "
      "MB\n",
      stored, static_cast<unsigned long long>(after.gaps - before.gaps), used, options.seconds,
      100 * used / options.seconds, stored / used, megabytes());
  std::printf("longest turn of the loop %lld ms; the books balance: %s\n",
              static_cast<long long>(std::chrono::duration_cast<std::chrono::milliseconds>(turns.longest).count()),
              after.balanced() ? "yes" : "NO");
  print_lateness(manager, options);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{"Collects from the agents of many_agents by a manager in this process"};
  Options options;
  app.add_option("count", options.agents, "how many agents")->required();
  app.add_option("--first-port", options.port, "of the first agent");
  app.add_option("--troubled", options.troubled, "the first so many are not counted as late");
  app.add_option("--seconds", options.seconds, "how long");
  app.add_option("--interval", options.interval, "of the log entry");
  app.add_option("--names", options.names, "of its values");
  CLI11_PARSE(app, argc, argv);
  const fs::path root = ox::bench::make_system_root();
  ox::bench::install(root, {});
  {
    asio::io_context loop;
    const FaultSink faults = [](const std::string& file, std::uint32_t, const std::string& text) {
      give_up(file + ": " + text);
    };
    bool sound = true;
    bool outdated = false;
    if (hold_tree(sound_amib_files(faults, sound), outdated) != OX_OK) give_up("no tree");
    Settings settings;
    Manager manager(loop, settings, (root / "work/data").string());
    if (!manager.components.open(faults) || !manager.events.open(faults) || !manager.collected_file.open(faults)) {
      give_up("no databases");
    }
    bool ready = false;
    load_components(manager, [&ready](bool loaded) { ready = loaded; });
    while (!ready) (void)loop.run_one();
    add_agents(manager, options);
    add_entry(manager, options);
    measure(loop, manager, options);
  }
  (void)oxbDeleteAmibTree(OXB_TREE);
  fs::remove_all(root);
}
