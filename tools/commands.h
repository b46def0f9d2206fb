// Subcommands of a tool for entries of one kind.
#pragma once

#include <functional>
#include <vector>

#include "tools/cli.h"
#include "tools/entry_line.h"

namespace tool {

// A subcommand, and what it does.
template <class Line>
struct Subcommand {
  const char* name;
  const char* help;
  bool named;                                // takes an entry's name
  bool forms;                                // has --json and --csv
  std::function<void(Command&, Line&)> add;  // options of its own; null: none
  std::function<int(const Line&)> run;
};

// `name_help` is what help tells of an entry's name.
template <class Line>
void add_commands(Command& app, const std::vector<Subcommand<Line>>& all, Line& line, const char* name_help) {
  app.require_subcommand();
  for (const Subcommand<Line>& command : all) {
    Command sub = app.add_subcommand(command.name, command.help);
    if (command.named) sub.add_option("name", line.name, name_help).required();
    if (command.forms) line.form.add_to(sub);
    if (command.add) command.add(sub, line);
    sub.add_option("-m,--manager", line.manager, "name of the manager (default: the local one)");
  }
}

// Does what the user has asked for.
template <class Line>
int run_command(const Command& app, const std::vector<Subcommand<Line>>& all, const Line& line) {
  for (const Subcommand<Line>& command : all) {
    if (app.got_subcommand(command.name)) return command.run(line);
  }
  return exit_usage;
}

}  // namespace tool
