// oxset: writes values.
#include <memory>

#include "tools/cli.h"
#include "tools/diagnosis.h"
#include "tools/node_output.h"
#include "tools/value_argument.h"

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
  bool add = false;
  bool remove = false;
};

// Codes of the manager's component management, and the attributes that carry their arguments.
constexpr uint32_t component_add = 5;
constexpr uint32_t component_delete = 14;
constexpr char type_argument[] = "10.7.1.0";
constexpr char name_argument[] = "10.7.8.0";

tool::NodesPtr make_nodes(std::size_t count) {
  tool::NodesPtr nodes(oxdAlloc(static_cast<uint32_t>(count)));
  if (nodes == nullptr) throw tool::Failure("values", OX_ENOMEM);
  return nodes;
}

// The component's type and name.
std::pair<std::string, std::string> parts(const std::string& component) {
  const std::size_t colon = component.find(':');
  if (colon == std::string::npos) throw tool::Failure(component, OX_ECOMPNAME);
  return {component.substr(0, colon), component.substr(colon + 1)};
}

void fill(dnode* node, const Options& options, const std::string& name, const std::string& value) {
  const std::string subject = options.component + " " + name;
  const auto [type, entry] = parts(options.component);
  tool::require(oxdSetCompType(node, type.c_str()), subject);
  tool::require(oxdSetCompName(node, entry.c_str()), subject);
  tool::set_value(node, name, options.type, value, subject);
}

const char* manager_of(const Options& options) { return options.manager.empty() ? nullptr : options.manager.c_str(); }

void manage(const Options& options, uint32_t code) {
  const auto [type, entry] = parts(options.component);
  const tool::NodesPtr list = make_nodes(2);
  dnode* node = list.get();
  tool::require(oxdSetAmibName(node, type_argument), options.component);
  tool::require(oxdSetText(node, type.c_str()), options.component);
  node = oxdNext(node);
  tool::require(oxdSetAmibName(node, name_argument), options.component);
  tool::require(oxdSetText(node, entry.c_str()), options.component);
  const OX_RESULT result = oxaMgmtControl(manager_of(options), code, list.get(), nullptr);
  if (result == OX_ENOTYPE && options.manager.empty()) {
    throw tool::Explained(
        options.component, result,
        {"the manager knows no component type " + type, "write \"comptype: " + type + "\" into " + oxcGetWorkdir() +
                                                            "/public/comptype/user.def, then start the manager again"});
  }
  tool::require(result, options.component);
}

void write_values(const Options& options) {
  const tool::NodesPtr list = make_nodes(options.pairs.size() / 2);
  std::size_t i = 0;
  for (dnode* node = list.get(); node != nullptr; node = oxdNext(node), i += 2) {
    fill(node, options, options.pairs[i], options.pairs[i + 1]);
  }
  dnode* answer = nullptr;
  const OX_RESULT result = oxaSet(manager_of(options), 0, options.timeout, list.get(), &answer);
  const tool::NodesPtr owner(answer);
  dnode* const shown = result == OX_OK ? list.get() : answer;  // the answer repeats names, and tells of errors
  if (options.json) {
    (void)tool::print_json(shown);
  } else if (options.verbose || result == OX_ENODES) {
    (void)tool::print_table(shown, false);
  }
  tool::require(result, options.component);
}

int set(const Options& options) {
  if (options.pairs.size() % 2 != 0) throw tool::Usage("every attribute needs a value");
  if (options.pairs.empty() && !options.add && !options.remove) throw tool::Usage("nothing to set");
  tool::open_session();
  if (options.add) manage(options, component_add);
  if (!options.pairs.empty()) write_values(options);
  if (options.remove) manage(options, component_delete);
  return tool::exit_ok;
}

}  // namespace

int main(int argc, char** argv) {
  tool::Command app("Writes values through the manager.", "oxset");
  Options options;
  app.add_option("component", options.component, "type:name").required();
  app.add_option("values", options.pairs, "attribute and value, as many pairs as wanted").any_number();
  const tool::Option add = app.add_flag("--add", options.add, "make the component first");
  app.add_flag("--delete", options.remove, "delete the component").excludes(add);
  app.add_option("--type", options.type, "value type when the attribute is not in the tree, or another is wanted")
      .choice_of_any_case(tool::value_types);
  app.add_flag("-v,--verbose", options.verbose, "print the values that were written");
  app.add_flag("-j,--json", options.json, "print them as JSON");
  app.add_flag("--nopass", options.no_password, "do not ask for a logon (also -nopass; nothing is asked today)");
  app.add_option("-t,--timeout", options.timeout, "seconds to wait (0: the manager's own)");
  app.add_option("-m,--manager", options.manager, "name of the manager (default: the local one)");
  app.footer(
      "Examples:\n"
      "  oxset --add node:router1 obj.node.nodeAddress.0 192.0.2.1\n"
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
