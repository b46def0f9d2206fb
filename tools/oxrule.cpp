// oxrule: programs that watch the network.
#include <functional>

#include "tools/rule_entries.h"

namespace {

constexpr char examples[] =
    "Examples:\n"
    "  oxrule create threshold '.interfaces.ifTable.ifEntry.ifInErrors.2>1000/900@120' \\\n"
    "    --target node:router1 --interval 30 --level 3 --name errors\n"
    "  oxrule create threshold 'rate:.interfaces.ifTable.ifEntry.ifInOctets>1e7' --target logEnt:logEnt1\n"
    "  oxrule create night_check --schedule '22:00:00-06:00:00'\n"
    "  oxrule list\n"
    "  oxrule log errors       what it has printed, and why it ended\n"
    "Exit code: 0 done, 1 an error (its text on stderr), 2 usage.";

struct Line {
  std::string manager;
  std::string name;
  tool::FormOptions form;
  tool::NewRule wanted;

  [[nodiscard]] tool::RuleCall call() const { return {manager.empty() ? nullptr : manager.c_str(), name, form.form()}; }
};

struct Command {
  const char* name;
  const char* help;
  bool named;  // a rule
  std::function<int(const Line&)> run;
};

const std::vector<Command>& commands() {
  static const std::vector<Command> all = {
      {"create", "make a rule, which starts at once; its name is printed", false,
       [](const Line& line) { return tool::create_rule(line.call(), line.wanted); }},
      {"list", "all rules", false, [](const Line& line) { return tool::list_rules(line.call()); }},
      {"show", "a rule", true, [](const Line& line) { return tool::show_rule(line.call()); }},
      {"start", "have a rule run, or wait for its schedule", true,
       [](const Line& line) { return tool::set_rule(line.call(), true); }},
      {"stop", "end its program", true, [](const Line& line) { return tool::set_rule(line.call(), false); }},
      {"delete", "end its program, and delete it", true,
       [](const Line& line) { return tool::delete_rule(line.call()); }},
      {"log", "the last lines of its last run, and why that ended", true,
       [](const Line& line) { return tool::show_rule_log(line.call()); }},
  };
  return all;
}

int run(const CLI::App& app, const Line& line) {
  tool::open_session();
  for (const Command& command : commands()) {
    if (app.got_subcommand(command.name)) return command.run(line);
  }
  return tool::exit_usage;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Rules: programs that watch the network, run by the expert daemon.", "oxrule");
  app.require_subcommand(1);
  Line line;
  for (const Command& command : commands()) {
    CLI::App& sub = *app.add_subcommand(command.name, command.help);
    if (command.named) sub.add_option("name", line.name, "the rule's name, as oxrule list shows it")->required();
    if (command.name == std::string("create")) line.wanted.add_to(sub);
    line.form.add_to(sub);
    sub.add_option("-m,--manager", line.manager, "name of the manager (default: the local one)");
  }
  app.footer(examples);
  std::vector<std::string> arguments = tool::arguments(argc, argv);
  const std::vector<std::string> behind = tool::take_behind_dashes(arguments);
  return tool::run(app, std::move(arguments), [&] {
    line.wanted.words.insert(line.wanted.words.end(), behind.begin(), behind.end());
    return run(app, line);
  });
}
