// oxget: reads values.
#include <memory>

#include "tools/cli.h"
#include "tools/node_output.h"

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
};

std::string joined(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ",") + name;
  return list;
}

int get(const Options& options) {
  tool::open_session();
  const std::string names = joined(options.names);
  dnode* list = nullptr;
  const OX_RESULT result =
      oxaGet(options.manager.empty() ? nullptr : options.manager.c_str(), options.component.c_str(), names.c_str(),
             nullptr, options.bits, options.timeout, &list);
  const std::unique_ptr<dnode, decltype(&oxdFree)> owner(list, oxdFree);
  // 121 means that some nodes carry errors of their own: they are shown beside the values.
  if (result != OX_ENODES) tool::require(result, options.component + " " + names);
  const bool good = options.json             ? tool::print_json(list)
                    : options.format.empty() ? tool::print_table(list, options.raw)
                                             : tool::print_formatted(list, options.format);
  return good && result == OX_OK ? tool::exit_ok : tool::exit_failed;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Reads values from the manager.", "oxget");
  Options options;
  app.add_option("component", options.component, "type:name, or type:* for all of a type")->required();
  app.add_option("names", options.names, "attributes: names, paths, prefixes; braces and commas expand")->required();
  auto* format = app.add_option("-f,--format", options.format,
                                "one line per value: %C name, %T type, %AB %AN %AS attribute, %V value, %W raw value, "
                                "%SS answer time; widths as in printf; \\n and \\t");
  app.add_flag("-j,--json", options.json, "JSON for machines")->excludes(format);
  app.add_flag("-r,--raw", options.raw, "raw values, without enumeration names")->excludes(format);
  app.add_option("-t,--timeout", options.timeout, "seconds to wait for the values (0: the manager's own)");
  app.add_option("-o,--options", options.bits, "option bits of the request");
  app.add_option("-m,--manager", options.manager, "name of the manager (default: the local one)");
  app.footer(
      "Examples:\n"
      "  oxget node:router1 .system.sysDescr.0\n"
      "  oxget node:router1 .interfaces.ifTable\n"
      "  oxget 'node:*' '.system.{sysName,sysUpTime}.0' --json\n"
      "  oxget system:system obj.cmn.cmnName.0 --format '%C %V\\n'\n"
      "Exit code: 0 all values read, 1 an error (its text on stderr or beside the value), 2 usage.");
  return tool::run(app, tool::arguments(argc, argv), [&] { return get(options); });
}
