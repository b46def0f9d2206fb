#include "tools/rule_entries.h"

#include <cstdio>
#include <sstream>

#include "tools/cli.h"
#include "tools/text.h"
#include "tools/value_argument.h"

namespace tool {
namespace {

constexpr char admin_path[] = "11.13.7.0";
constexpr char oper_path[] = "11.13.8.0";
constexpr char output_path[] = "11.13.12.0";
constexpr char end_path[] = "11.13.13.0";

constexpr Field fields[] = {
    {"11.13.1.0", "PROGRAM", "program", Kind::text, true},
    {"11.13.3.0", "TARGET", "target", Kind::text, true},
    {"11.13.6.0", "ARGUMENT", "argument", Kind::text, true},
    {oper_path, "STATE", "operStatus", Kind::word, true, "0 does not run|1 runs|2 waits for its schedule"},
    {admin_path, "STARTED", "adminStatus", Kind::word, true, "0 no|1 yes"},
    {"11.13.14.0", "PROCESS", "process", Kind::number, true},
    {"11.13.15.0", "STARTS", "starts", Kind::number, true},
    {"11.13.11.0", "SCHEDULE", "schedule", Kind::text, true},
    {"11.13.10.0", "ASKED FOR", "request", Kind::word, false, "0 no|1 yes"},
    {"11.13.4.0", "EVERY (SECONDS)", "interval", Kind::number},
    {"11.13.5.0", "LEVEL", "level", Kind::number},
    {"11.13.2.0", "AT THE MANAGER", "component"},
    {"11.13.9.0", "LAST ERROR", "lastError"},
    {end_path, "LAST END", "lastEnd"},
};

constexpr std::uint32_t component_add = 39;
constexpr std::uint32_t component_delete = 6;

std::string name_of(const Call& call) { return bare_name(rule_family, call.name); }
std::string component_of(const Call& call) { return "ruleEnt:" + name_of(call); }

using Values = std::vector<std::pair<const char*, std::string>>;  // paths, texts

NodesPtr nodes_of(const Values& values, const std::string& subject) {
  NodesPtr list(oxdAlloc(static_cast<std::uint32_t>(values.size())));
  if (list == nullptr) throw std::bad_alloc();
  dnode* node = list.get();
  for (const auto& [path, text] : values) {
    require(oxdSetAmibName(node, path), subject);
    require(oxdSetText(node, text.c_str()), subject);
    node = oxdNext(node);
  }
  return list;
}

// The name that the manager answers, when it makes one.
std::string manage(const Call& call, std::uint32_t code, const std::string& name) {
  const std::string subject = name.empty() ? "ruleEnt" : "ruleEnt:" + name;
  Values values = {{"10.7.1.0", "ruleEnt"}};
  if (!name.empty()) values.emplace_back("10.7.8.0", name);
  dnode* answer = nullptr;
  const OX_RESULT result = oxaMgmtControl(call.manager, code, nodes_of(values, subject).get(), &answer);
  const NodesPtr owner(answer);
  require(result, subject);
  for (dnode* node = answer; node != nullptr; node = oxdNext(node)) {
    const char* path = "";
    if (oxdGetAmibName(node, &path) == OX_OK && path == std::string("10.7.8.0")) return oxdGetValueByStr(node);
  }
  return name;
}

void write(const Call& call, const Values& values) {
  const NodesPtr list = nodes_of(values, component_of(call));
  for (dnode* node = list.get(); node != nullptr; node = oxdNext(node)) {
    require(oxdSetCompType(node, rule_family.type), component_of(call));
    require(oxdSetCompName(node, name_of(call).c_str()), component_of(call));
  }
  require(oxaSet(call.manager, 0, 0, list.get(), nullptr), component_of(call));
}

Entry require_entry(const Call& call) { return entry(call.manager, rule_family, call.name); }

void tell_missing_daemon(const Call& call) {
  if (call.manager != nullptr || oxrExpdCheck() != 0) return;
  (void)std::fputs("oxrule: no expert daemon runs; next: oxexpd\n", stderr);
}

}  // namespace

const Family rule_family = {"ruleEnt", "11.13.{1,2,3,4,5,6,7,8,9,10,11,12,13,14,15}.0", "", fields, "oxrule list"};

void NewRule::add_to(Command& sub) {
  sub.add_option("program", program, "of the folder of rule programs, without extension").required();
  sub.add_option("arguments", words, "its arguments; behind -- they may begin with a dash").any_number();
  sub.add_option("-n,--name", name, "name of the rule (default: the manager makes one)");
  sub.add_option("--target", target, "what it is about, as node:router1 (default: -)");
  sub.add_option("-i,--interval", interval, "seconds between two looks (default: 60)");
  sub.add_option("--level", level, "handed to the program; threshold: of its events, 1 to 4 (default: 1)");
  sub.add_option("-s,--schedule", schedule, "when it runs, as '08:00:00-18:00:00 1-5' (default: always)");
  sub.add_option("--component", component, "name of the manager at which it runs (default: any)");
  sub.add_flag("--stopped", stopped, "do not start it yet");
}

int create_rule(const Call& call, const NewRule& wanted) {
  if (!wanted.schedule.empty()) require(oxcmdStrToSchedule(wanted.schedule.c_str(), nullptr), "--schedule");
  Call made = call;
  made.name = manage(call, component_add, bare_name(rule_family, wanted.name));
  try {
    write(made, {{"11.13.1.0", wanted.program},
                 {"11.13.2.0", wanted.component},
                 {"11.13.3.0", wanted.target},
                 {"11.13.4.0", std::to_string(wanted.interval)},
                 {"11.13.5.0", std::to_string(wanted.level)},
                 {"11.13.6.0", one_text(wanted.words)},
                 {"11.13.11.0", wanted.schedule},
                 {admin_path, wanted.stopped ? "0" : "1"}});
  } catch (const Failure&) {
    (void)manage(made, component_delete, made.name);
    throw;
  }
  put_name(call.form, "ruleEnt", made.name);
  tell_missing_daemon(call);
  return exit_ok;
}

int list_rules(const Call& call) {
  print_entries(call.form, nullptr, rule_family, entries(call.manager, rule_family));
  return exit_ok;
}

int show_rule(const Call& call) {
  print_entry(call.form, nullptr, rule_family, require_entry(call));
  return exit_ok;
}

int set_rule(const Call& call, bool runs) {
  (void)require_entry(call);
  write(call, {{admin_path, runs ? "1" : "0"}});
  tell_missing_daemon(call);
  return exit_ok;
}

int delete_rule(const Call& call) {
  (void)require_entry(call);
  (void)manage(call, component_delete, name_of(call));
  return exit_ok;
}

int show_rule_log(const Call& call) {
  const Entry rule = require_entry(call);
  const std::string output = rule.text(output_path), end = rule.text(end_path);
  if (call.form != Form::table) {
    print_record(call.form, {{"NAME", "ruleEnt"}, {"OUTPUT", "output"}, {"LAST END", "lastEnd"}},
                 {rule.name, output, end});
    return exit_ok;
  }
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) print(stdout, on_one_line(line) + "\n");
  const bool runs = rule.number(oper_path) == 1;
  if (!end.empty()) (void)say(stdout, "(%s%s)\n", runs ? "runs; before: " : "", on_one_line(end).c_str());
  return exit_ok;
}

}  // namespace tool
