// oxset: writes values.
#include <memory>

#include "tools/cli.h"
#include "tools/node_output.h"

namespace {

struct Options {
  std::string manager;
  std::string component;
  std::vector<std::string> pairs;
  uint32_t type = 0;
  uint32_t timeout = 0;
  bool json = false;
  bool verbose = false;
  bool no_password = false;
};

const std::map<std::string, uint32_t> types{{"INTEGER", OX_INTEGER},
                                            {"Counter", OX_COUNTER},
                                            {"Gauge", OX_GAUGE},
                                            {"TimeTicks", OX_TIMETICKS},
                                            {"UnixTime", OX_UNIXTIME},
                                            {"IpAddress", OX_IPADDRESS},
                                            {"OctetString", OX_OCTETSTRING},
                                            {"DisplayString", OX_DISPLAYSTRING},
                                            {"PhysAddress", OX_PHYSADDRESS},
                                            {"ObjectID", OX_OBJECTID},
                                            {"Counter64", OX_COUNTER64},
                                            {"Ipv6Address", OX_IPV6ADDRESS},
                                            {"CodeString", OX_CODESTRING}};

// A value given by its enumeration name, "up" or "up(1)", as its number; any other text as it is.
std::string number_of_item(const char* path, const std::string& text) {
  int32_t value = 0;
  const char* item = nullptr;
  for (uint32_t i = 0; oxbEnumItem(path, i, &value, &item) == OX_OK; ++i) {
    const std::string whole = item;
    if (text == whole || text == whole.substr(0, whole.rfind('('))) return std::to_string(value);
  }
  return text;
}

void fill(dnode* node, const Options& options, const std::string& name, const std::string& value) {
  const std::size_t colon = options.component.find(':');
  const std::string subject = options.component + " " + name;
  if (colon == std::string::npos) throw tool::Failure(options.component, OX_ECOMPNAME);
  tool::require(oxdSetCompType(node, options.component.substr(0, colon).c_str()), subject);
  tool::require(oxdSetCompName(node, options.component.substr(colon + 1).c_str()), subject);
  tool::require(oxdSetAmibName(node, name.c_str()), subject);
  const char* path = "";
  tool::require(oxdGetAmibName(node, &path), subject);
  tool::require(oxdSetValueByStr(node, options.type, number_of_item(path, value).c_str()), subject + " = " + value);
}

int set(const Options& options) {
  if (options.pairs.size() % 2 != 0) throw std::runtime_error("every attribute needs a value");
  tool::open_session();
  const std::unique_ptr<dnode, decltype(&oxdFree)> list(oxdAlloc(static_cast<uint32_t>(options.pairs.size() / 2)),
                                                        oxdFree);
  if (list == nullptr) throw tool::Failure(options.component, OX_ENOMEM);
  std::size_t i = 0;
  for (dnode* node = list.get(); node != nullptr; node = oxdNext(node), i += 2) {
    fill(node, options, options.pairs[i], options.pairs[i + 1]);
  }
  dnode* answer = nullptr;
  const OX_RESULT result =
      oxaSet(options.manager.empty() ? nullptr : options.manager.c_str(), 0, options.timeout, list.get(), &answer);
  const std::unique_ptr<dnode, decltype(&oxdFree)> owner(answer, oxdFree);
  if (result != OX_OK && result != OX_ENODES) throw tool::Failure(options.component, result);
  if (options.json) {
    (void)tool::print_json(answer);
  } else if (options.verbose || result != OX_OK) {
    (void)tool::print_table(answer, false);
  }
  if (result != OX_OK) throw tool::Failure(options.component, result);
  return tool::exit_ok;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Writes values through the manager.", "oxset");
  Options options;
  app.add_option("component", options.component, "type:name")->required();
  app.add_option("values", options.pairs, "attribute and value, as many pairs as wanted")->required()->expected(2, -1);
  app.add_option("--type", options.type, "value type when the attribute is not in the tree, or another is wanted")
      ->transform(CLI::CheckedTransformer(types, CLI::ignore_case));
  app.add_flag("-v,--verbose", options.verbose, "print the values as the manager took them");
  app.add_flag("-j,--json", options.json, "print them as JSON");
  app.add_flag("--nopass", options.no_password, "do not ask for a logon (also -nopass; nothing is asked today)");
  app.add_option("-t,--timeout", options.timeout, "seconds to wait (0: the manager's own)");
  app.add_option("-m,--manager", options.manager, "name of the manager (default: the local one)");
  app.footer(
      "Examples:\n"
      "  oxset node:router1 .system.sysContact.0 'NOC, ext. 4711'\n"
      "  oxset node:router1 .interfaces.ifTable.ifEntry.ifAdminStatus.2 down\n"
      "  oxset -nopass ruleEnt:night 11.13.10.0 1\n"
      "  oxset node:router1 NAME -- -5         (a value that begins with a dash)\n"
      "Exit code: 0 all values written, 1 an error, 2 usage.");
  std::vector<std::string> arguments = tool::arguments(argc, argv);
  // Command entries are stored with the one-dash form.
  for (std::string& argument : arguments) {
    if (argument == "-nopass") argument = "--nopass";
  }
  return tool::run(app, std::move(arguments), [&] { return set(options); });
}
