// oxget: reads values.
#include <cstdio>
#include <memory>

#include "tools/cli.h"
#include "tools/diagnosis.h"
#include "tools/following.h"
#include "tools/node_output.h"
#include "tools/text.h"

namespace {

struct Options {
  std::string manager;
  std::string component;
  std::vector<std::string> names;
  std::string format;
  bool json = false;
  bool raw = false;
  uint32_t bits = 0;
  uint32_t timeout = 0;
  bool watch = false;
  uint32_t count = 0;
  bool no_reconnect = false;
};

std::string joined(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ",") + name;
  return list;
}

bool print(const Options& options, dnode* list) {
  if (options.json) return tool::print_json(list, options.watch ? -1 : 2);
  return options.format.empty() ? tool::print_table(list, options.raw) : tool::print_formatted(list, options.format);
}

const char* manager(const Options& options) { return options.manager.empty() ? nullptr : options.manager.c_str(); }

// ---- Watching ----

struct Watch {
  const Options& options;
  uint32_t reports = 0;
  OX_RESULT failure = OX_OK;

  [[nodiscard]] bool goes_on() const { return failure == OX_OK && (options.count == 0 || reports < options.count); }
};

void OX_CALL on_report(void*, void* argument, dnode* list, OX_RESULT code) {
  Watch& watch = *static_cast<Watch*>(argument);
  const tool::NodesPtr owner(list);
  if (!watch.goes_on()) return;                       // several come in one turn
  if (code == OX_ECLOSED && list == nullptr) return;  // the session's matter: the request goes on in the next one
  if (code == OX_ETOOMANY) {
    std::fputs("oxget: reports have been lost here\n", stderr);
  } else if (list == nullptr) {
    watch.failure = code;
  } else {
    (void)print(watch.options, list);
    (void)std::fflush(stdout);
    ++watch.reports;
  }
}

int watch(const tool::Command& app, const Options& options) {
  tool::Following following(app, !options.no_reconnect, 0);
  const std::string names = joined(options.names);
  Watch watched{options};
  void* request = nullptr;
  tool::require(oxaAsyGet(manager(options), options.component.c_str(), names.c_str(), nullptr, options.bits,
                          options.timeout, on_report, &watched, &request),
                options.component);
  while (watched.goes_on() && following.turn()) {
  }
  tool::require(watched.failure, options.component + " " + names);
  tool::require(oxaClose(request), options.component);
  return tool::exit_ok;
}

int get(const Options& options) {
  tool::open_session();
  const std::string names = joined(options.names);
  dnode* list = nullptr;
  const OX_RESULT result =
      oxaGet(manager(options), options.component.c_str(), names.c_str(), nullptr, options.bits, options.timeout, &list);
  const tool::NodesPtr owner(list);
  // 121 means that some nodes carry errors of their own: they are shown beside the values.
  if (result != OX_ENODES) tool::require(result, options.component + " " + names);
  const bool good = print(options, list);
  return good && result == OX_OK ? tool::exit_ok : tool::exit_failed;
}

}  // namespace

int main(int argc, char** argv) {
  tool::Command app("Reads values from the manager.", "oxget");
  Options options;
  app.add_option("component", options.component, "type:name, or type:* for all of a type").required();
  app.add_option("names", options.names, "attributes: names, paths, prefixes; braces and commas expand").required();
  const tool::Option format =
      app.add_option("-f,--format", options.format,
                     "one line per value: %C name, %T type, %AB %AN %AS attribute, %V value, %W raw value, "
                     "%SS answer time; widths as in printf; \\n and \\t");
  app.add_flag("-j,--json", options.json, "JSON for machines").excludes(format);
  app.add_flag("-r,--raw", options.raw, "raw values, without enumeration names").excludes(format);
  app.add_option("-t,--timeout", options.timeout,
                 "seconds to wait for the values; with --watch, between two looks at values of agents "
                 "(0: the manager's own)");
  app.add_option("-o,--options", options.bits, "option bits of the request");
  const tool::Option watching =
      app.add_flag("-w,--watch", options.watch, "go on: print the values, then every change of them");
  app.add_option("-n,--count", options.count, "with --watch: end after that many reports").needs(watching);
  tool::add_no_reconnect(app, options.no_reconnect).needs(watching);
  app.add_option("-m,--manager", options.manager, "name of the manager (default: the local one)");
  app.footer(
      "Examples:\n"
      "  oxget node:router1 .system.sysDescr.0\n"
      "  oxget node:router1 .interfaces.ifTable\n"
      "  oxget 'node:*' '.system.{sysName,sysUpTime}.0' --json\n"
      "  oxget system:system obj.cmn.cmnName.0 --format '%C %V\\n'\n"
      "  oxget --watch 'node:*' .system.sysUpTime.0 -t 10\n"
      "Exit code: 0 all values read, 1 an error (its text on stderr or beside the value), 2 usage.");
  return tool::run(app, tool::arguments(argc, argv),
                   [&] { return options.watch ? watch(app, options) : get(options); });
}
