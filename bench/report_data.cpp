// Fills a log entry from outside, for the figure of a report: so many series of counters and so many rounds, a minute
// apart, the last one now. Prints the entry's name. Needs a manager that runs (OXBASE_SYSTEM), and a node.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <ctime>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <oxbase/oxbase.h>

namespace {

void require(OX_RESULT result, const char* what) {
  if (result != OX_OK) throw std::runtime_error(std::string(what) + ": " + oxcStrError(result));
}

// An entry that is filled from outside: state 4.
std::string made_entry(const std::string& node, const std::string& keep) {
  LogEntry* record = nullptr;
  require(oxlAllocLogEntry(&record), "entry");
  require(oxlLogEntrySetTitle(record, "bench"), "title");
  require(oxlLogEntrySetCompName(record, node.c_str()), "component");
  require(oxlLogEntrySetAmibName(record, ".interfaces.ifTable.ifEntry.{ifInOctets,ifOutOctets}"), "attributes");
  require(oxlLogEntrySetInterval(record, "1m"), "interval");
  require(oxlLogEntrySetExpirePeriod(record, keep.c_str()), "expire");
  require(oxlLogEntrySetType(record, 0), "type");
  require(oxlSetLogEntry(nullptr, record), "entry");
  const char* name = nullptr;
  require(oxlLogEntryGetName(record, &name), "name");
  const std::string made = name;
  require(oxlFreeLogEntry(record), "entry");
  return made;
}

struct Counter {
  std::string path;
  std::uint32_t value = 0;
  double rate = 7.5e6;
};

std::vector<Counter> counters(int count) {
  std::vector<Counter> all;
  for (int i = 0; i < count; ++i) {
    all.push_back({"1.3.6.1.2.1.2.2.1." + std::string(i % 2 == 0 ? "10." : "16.") + std::to_string(i / 2 + 1)});
  }
  return all;
}

void append(const std::string& entry, const std::string& node, std::uint32_t time, std::vector<Counter>& all,
            std::mt19937& random) {
  dnode* list = nullptr;
  for (Counter& one : all) {
    dnode* const value = oxdAlloc(1);
    const double part = static_cast<double>(random()) / 4294967296.0;
    one.rate = 0.95 * one.rate * (0.9 + 0.2 * part) + 0.05 * 7.5e6;
    one.value += static_cast<std::uint32_t>(one.rate);
    require(oxdSetCompType(value, node.substr(0, node.find(':')).c_str()), "node");
    require(oxdSetCompName(value, node.substr(node.find(':') + 1).c_str()), "node");
    require(oxdSetAmibName(value, one.path.c_str()), "node");
    require(oxdSetUlong(value, OX_COUNTER, one.value), "node");
    require(oxcQueueAdd(&list, value), "node");
  }
  require(oxaDataAppend(nullptr, time, 0, ("logEnt:" + entry).c_str(), "", list), "append");
  (void)oxdFree(list);
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Fills a log entry with counters.", "report_data");
  int series = 100;
  std::uint32_t rounds = 10000;
  std::string node = "node:bench";
  app.add_option("--series", series, "how many");
  app.add_option("--rounds", rounds, "how many");
  app.add_option("--component", node, "whose they are");
  CLI11_PARSE(app, argc, argv);
  try {
    require(oxaInit(nullptr), "manager");
    const std::string entry = made_entry(node, "1Y");
    std::vector<Counter> all = counters(series);
    std::mt19937 random(1);
    const auto now = static_cast<std::uint32_t>(std::time(nullptr)) / 60 * 60;
    for (std::uint32_t i = 0; i < rounds; ++i) append(entry, node, now - (rounds - i) * 60, all, random);
    std::printf("%s\n", entry.c_str());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "report_data: %s\n", error.what());
    return 1;
  }
  return 0;
}
