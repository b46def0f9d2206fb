// oxlog: what the manager collects, and what it has collected.
#include "tools/cli.h"
#include "tools/commands.h"
#include "tools/diagnosis.h"
#include "tools/log_data.h"
#include "tools/log_entries.h"

namespace {

constexpr char examples[] =
    "Examples:\n"
    "  oxlog create 'node:router*' .interfaces.ifTable.ifEntry.{ifInOctets,ifOutOctets} --interval 1m --title traffic\n"
    "  oxlog fit NAME                             what it takes, and whether that can be kept up\n"
    "  oxlog start NAME\n"
    "  oxlog list\n"
    "  oxlog data NAME --last 1h --component router1 --rate\n"
    "  oxlog plot NAME --last 6h --rate --attribute ifInOctets --index 3\n"
    "  oxlog plot NAME --last 7D --step 1h --function max --svg week.svg\n"
    "  oxlog export NAME --from 2026-11-01 -o november.csv\n"
    "  oxlog gaps NAME --last 1D                  what is missing, and why\n"
    "Attributes with braces and patterns belong into single quotes in most shells.\n"
    "Exit code: 0 done, 1 an error (its text on stderr), 2 usage.";

// What the command line holds.
struct Line : tool::EntryLine {
  bool yes = false;
  bool force = false;
  bool each = false;
  std::string file;
  tool::NewLogEntry wanted;
  tool::DataOptions data;
  tool::PlotOptions plot;
};

const std::vector<tool::Subcommand<Line>>& commands() {
  const auto data = [](tool::Command& command, Line& line) { line.data.add_to(command); };
  static const std::vector<tool::Subcommand<Line>> all = {
      {"create", "make an entry; its name is printed", false, true,
       [](tool::Command& command, Line& line) { line.wanted.add_to(command); },
       [](const Line& line) { return tool::create_log_entry(line.call(), line.wanted); }},
      {"list", "all entries", false, true, {}, [](const Line& line) { return tool::list_log_entries(line.call()); }},
      {"show",
       "an entry with its data entries",
       true,
       true,
       {},
       [](const Line& line) { return tool::show_log_entry(line.call()); }},
      {"fit",
       "what an entry takes a day, and whether agents and disk can keep it up; each agent is asked once",
       true,
       true,
       {},
       [](const Line& line) { return tool::show_fit(line.call()); }},
      {"start", "collect; what cannot fit is refused", true, false,
       [](tool::Command& command, Line& line) { command.add_flag("--force", line.force, "also what cannot fit"); },
       [](const Line& line) { return tool::start_log_entry(line.call(), line.force); }},
      {"stop", "collect no more", true, false, {}, [](const Line& line) { return tool::stop_log_entry(line.call()); }},
      {"copy",
       "make a stopped entry like this one; its name is printed",
       true,
       false,
       {},
       [](const Line& line) { return tool::copy_log_entry(line.call()); }},
      {"delete", "delete an entry with all that it has collected", true, false,
       [](tool::Command& command, Line& line) { command.add_flag("-y,--yes", line.yes, "do not ask"); },
       [](const Line& line) { return tool::delete_log_entry(line.call(), line.yes); }},
      {"data", "collected values, gaps among them (default: of the last 10 rounds)", true, true, data,
       [](const Line& line) { return tool::show_data(line.call(), line.data); }},
      {"export", "collected values for other programs, as CSV or JSON", true, true,
       [](tool::Command& command, Line& line) {
         line.data.add_to(command);
         command.add_option("-o,--output", line.file, "file, which is there whole or stays as it was");
       },
       [](const Line& line) { return tool::export_data(line.call(), line.data, line.file); }},
      {"gaps", "what was due and is not there, and why; the most first", true, true,
       [](tool::Command& command, Line& line) {
         line.data.add_to(command);
         command.add_flag("--each", line.each, "each run of rounds, not one sum for each reason");
       },
       [](const Line& line) { return tool::show_gaps(line.call(), line.data, line.each); }},
      {"plot", "curves with their gaps, in the terminal or as a picture (default: of the last day)", true, false,
       [](tool::Command& command, Line& line) {
         line.data.add_to(command);
         line.plot.add_to(command);
       },
       [](const Line& line) { return tool::plot_data(line.call(), line.data, line.plot); }},
  };
  return all;
}

}  // namespace

int main(int argc, char** argv) {
  tool::Command app("Log entries: what the manager collects, and what it has collected.", "oxlog");
  Line line;
  tool::add_commands(app, commands(), line, "the entry's name, as oxlog list shows it");
  app.footer(examples);
  return tool::run(app, tool::arguments(argc, argv), [&] {
    tool::open_session();
    return tool::run_command(app, commands(), line);
  });
}
