// oxtrace: the trace of running processes.
#include <cstdio>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tools/cli.h"
#include "tools/text.h"

namespace {

struct Bit {
  const char* name;
  uint32_t bit;
};
constexpr Bit bits[] = {{"platform", 0x1},     {"entries", 0x4},      {"rules", 0x8},        {"memory", 0x20},
                        {"general", 0x40},     {"amib", 0x80},        {"messages", 0x200},   {"dump", 0x400},
                        {"snmpdump", 0x10000}, {"trapdump", 0x20000}, {"icmpdump", 0x40000}, {"remotedump", 0x80000}};

// A number, or names of bits joined by commas; "all" and "none" too.
uint32_t parse_mask(const std::string& text) {
  if (text == "none") return 0;
  uint32_t mask = 0;
  if (oxcStrToUlong(text.c_str(), 0, &mask) == OX_OK) return mask;
  std::istringstream names(text);
  do {
    std::string name;
    std::getline(names, name, ',');
    bool known = name == "all";
    for (const Bit& bit : bits) {
      if (name != "all" && name != bit.name) continue;
      mask |= bit.bit;
      known = true;
    }
    if (!known) throw tool::Usage("mask: \"" + name + "\" is neither a number nor a bit's name");
  } while (!names.eof());
  return mask;
}

std::string names_of(uint32_t mask) {
  std::string names;
  for (const Bit& bit : bits) {
    if ((mask & bit.bit) != 0) names += (names.empty() ? "" : ",") + std::string(bit.name);
  }
  return names.empty() ? "none" : names;
}

// Of processes that were found, not named, those that have ended since are left out.
void print(const std::vector<uint32_t>& processes, bool named, bool json) {
  nlohmann::json all = nlohmann::json::array();
  if (!json) tool::say(stdout, "%8s  %10s  %7s  %4s  %s\n", "PROCESS", "MASK", "CONSOLE", "FILE", "BITS");
  for (const uint32_t process : processes) {
    oxcDebugControl control{};
    const OX_RESULT code = oxcDebugGetControl(process, &control);
    if (code == OX_ENOSHM && !named) continue;
    tool::require(code, "process " + std::to_string(process));
    if (json) {
      all.push_back({{"process", process},
                     {"mask", control.mask},
                     {"bits", names_of(control.mask)},
                     {"console", control.console != 0},
                     {"file", control.file != 0}});
    } else {
      tool::say(stdout, "%8u  0x%08x  %7s  %4s  %s\n", process, control.mask, control.console != 0 ? "on" : "off",
                control.file != 0 ? "on" : "off", names_of(control.mask).c_str());
    }
  }
  if (json) std::puts(tool::json_text(all, 2).c_str());
}

std::vector<uint32_t> all_processes() {
  uint32_t count = 0;
  tool::require(oxcDebugProcesses(nullptr, 0, &count), "processes");
  std::vector<uint32_t> ids(count + 64);  // some may start meanwhile
  tool::require(oxcDebugProcesses(ids.data(), static_cast<uint32_t>(ids.size()), &count), "processes");
  ids.resize(std::min<std::size_t>(count, ids.size()));
  return ids;
}

struct Change {
  std::string mask;
  std::string console;
  std::string file;
};

void apply(uint32_t process, const Change& change) {
  const std::string subject = "process " + std::to_string(process);
  oxcDebugControl control{};
  tool::require(oxcDebugGetControl(process, &control), subject);
  if (!change.mask.empty()) control.mask = parse_mask(change.mask);
  if (!change.console.empty()) control.console = change.console == "on" ? 1 : 0;
  if (!change.file.empty()) control.file = change.file == "on" ? 1 : 0;
  tool::require(oxcDebugSetControl(process, &control), subject);
}

}  // namespace

int main(int argc, char** argv) {
  tool::Command app("Shows and switches the trace of running processes.", "oxtrace");
  std::vector<uint32_t> processes;
  Change change;
  bool json = false;
  app.add_option("process", processes, "process ids (default: every process that uses the library)");
  app.add_option("-m,--mask", change.mask, "new mask: a number, or bits by name: general,messages,dump; all; none");
  app.add_option("-c,--console", change.console, "lines to the process's console").one_of({"on", "off"});
  app.add_option("-f,--file", change.file, "lines to the process's trace file").one_of({"on", "off"});
  app.add_flag("-j,--json", json, "JSON for machines");
  app.footer(
      "Examples:\n"
      "  oxtrace\n"
      "  oxtrace 4711 --mask general,messages --file on --console off\n"
      "  oxtrace 4711 --mask none\n"
      "Exit code: 0 done, 1 an error, 2 usage.");
  return tool::run(app, tool::arguments(argc, argv), [&] {
    const bool changes = !change.mask.empty() || !change.console.empty() || !change.file.empty();
    if (changes && processes.empty()) throw tool::Usage("a change needs the ids of the processes");
    if (changes) {
      for (const uint32_t process : processes) apply(process, change);
    }
    print(processes.empty() ? all_processes() : processes, !processes.empty(), json);
    return tool::exit_ok;
  });
}
