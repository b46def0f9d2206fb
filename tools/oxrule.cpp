// oxrule: programs that watch the network.
#include "tools/cli.h"
#include "tools/commands.h"
#include "tools/diagnosis.h"
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

struct Line : tool::EntryLine {
  tool::NewRule wanted;
};

const std::vector<tool::Subcommand<Line>>& commands() {
  static const std::vector<tool::Subcommand<Line>> all = {
      {"create", "make a rule, which starts at once; its name is printed", false, true,
       [](tool::Command& command, Line& line) { line.wanted.add_to(command); },
       [](const Line& line) { return tool::create_rule(line.call(), line.wanted); }},
      {"list", "all rules", false, true, {}, [](const Line& line) { return tool::list_rules(line.call()); }},
      {"show", "a rule", true, true, {}, [](const Line& line) { return tool::show_rule(line.call()); }},
      {"start",
       "have a rule run, or wait for its schedule",
       true,
       true,
       {},
       [](const Line& line) { return tool::set_rule(line.call(), true); }},
      {"stop", "end its program", true, true, {}, [](const Line& line) { return tool::set_rule(line.call(), false); }},
      {"delete",
       "end its program, and delete it",
       true,
       true,
       {},
       [](const Line& line) { return tool::delete_rule(line.call()); }},
      {"log",
       "the last lines of its last run, and why that ended",
       true,
       true,
       {},
       [](const Line& line) { return tool::show_rule_log(line.call()); }},
  };
  return all;
}

}  // namespace

int main(int argc, char** argv) {
  tool::Command app("Rules: programs that watch the network, run by the expert daemon.", "oxrule");
  Line line;
  tool::add_commands(app, commands(), line, "the rule's name, as oxrule list shows it");
  app.footer(examples);
  return tool::run_with_words(app, tool::arguments(argc, argv), line.wanted.words, [&] {
    tool::open_session();
    return tool::run_command(app, commands(), line);
  });
}
