// oxreport: pages of what has been collected. As "LogToCsv" it is the program of the job that makes them.
#include <algorithm>
#include <filesystem>

#include "report/commands.h"
#include "tools/cli.h"
#include "tools/commands.h"
#include "tools/diagnosis.h"

namespace {

constexpr char examples[] =
    "Examples:\n"
    "  oxreport types                                 what kinds of reports there are\n"
    "  oxreport create host_trf -c 'node:router*' --interval 1m --title 'Traffic of the routers' --start\n"
    "  oxreport create availability --log logEnt3 --period 1M\n"
    "  oxreport list\n"
    "  oxreport run NAME                              make its page now; else that is done every ten minutes\n"
    "  oxreport open NAME                             where the page is; $BROWSER shows it\n"
    "  oxreport check mine.def                        what is wrong with a type of your own, line by line\n"
    "  oxreport types --update                        take the files' versions of types that are registered\n"
    "Exit code: 0 done, 1 an error (its text on stderr) or a fault found, 2 usage.";

// What the command line holds.
struct Line : tool::EntryLine {
  std::string file;
  report::NewReport wanted;
  bool force = false;
  bool all = false;
  bool update = false;
};

int run_reports(const Line& line) {
  if (line.all == !line.name.empty()) throw tool::Usage("name a report, or give --all");
  return report::run_reports(line.call());
}

const std::vector<tool::Subcommand<Line>>& commands() {
  static const std::vector<tool::Subcommand<Line>> all = {
      {"create", "make a report, and a log entry that feeds it; its name is printed", false, true,
       [](tool::Command& command, Line& line) { line.wanted.add_to(command); },
       [](const Line& line) { return report::create_report(line.call(), line.wanted); }},
      {"list", "all reports", false, true, {}, [](const Line& line) { return report::list_reports(line.call()); }},
      {"start", "have it collect, and its page made", true, false,
       [](tool::Command& command, Line& line) { command.add_flag("--force", line.force, "also what cannot fit"); },
       [](const Line& line) { return report::start_report(line.call(), line.force); }},
      {"stop",
       "collect no more for it",
       true,
       false,
       {},
       [](const Line& line) { return report::stop_report(line.call()); }},
      {"delete",
       "delete it; its log entry and its files stay",
       true,
       false,
       {},
       [](const Line& line) { return report::delete_report(line.call()); }},
      {"run", "make page and CSV file now; their paths are printed", false, false,
       [](tool::Command& command, Line& line) {
         command.add_option("name", line.name, "the report's name, as oxreport list shows it");
         command.add_flag("--all", line.all, "of every report for which something new has been collected");
       },
       run_reports},
      {"open",
       "print where its page is, and have $BROWSER show it, if that is set",
       true,
       false,
       {},
       [](const Line& line) { return report::open_page(line.call()); }},
      {"types", "the registered types", false, true,
       [](tool::Command& command, Line& line) {
         command.add_flag("--update", line.update, "replace those whose file has another version");
       },
       [](const Line& line) {
         return line.update ? report::update_types(line.call()) : report::list_types(line.call());
       }},
      {"check", "check a type's definition file; no manager is needed", false, false,
       [](tool::Command& command, Line& line) { command.add_option("file", line.file, "the file").required(); },
       [](const Line& line) { return report::check_file(line.file); }},
  };
  return all;
}

int run(const tool::Command& app, const Line& line) {
  if (!app.got_subcommand("check")) {
    tool::open_session();
    tool::require(oxbInit(OXB_TREE), "attribute tree");
    report::register_types();
  }
  return tool::run_command(app, commands(), line);
}

// Under its other name it takes no arguments.
bool is_job(const char* program) {
  std::string name = std::filesystem::path(program).stem().string();
  std::transform(name.begin(), name.end(), name.begin(), [](char c) { return c >= 'A' && c <= 'Z' ? c + 32 : c; });
  return name == "logtocsv";
}

}  // namespace

int main(int argc, char** argv) {
  tool::Command app("Reports: pages of what has been collected.", "oxreport");
  Line line;
  tool::add_commands(app, commands(), line, "the report's name, as oxreport list shows it");
  app.footer(examples);
  std::vector<std::string> arguments = tool::arguments(argc, argv);
  if (arguments.empty() && argc > 0 && is_job(argv[0])) arguments = {"run", "--all"};
  return tool::run(app, std::move(arguments), [&] { return run(app, line); });
}
