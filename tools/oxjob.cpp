// oxjob: what the manager runs at set times.
#include "tools/cli.h"
#include "tools/commands.h"
#include "tools/diagnosis.h"
#include "tools/job_entries.h"

namespace {

constexpr char examples[] =
    "Examples:\n"
    "  oxjob create oxset node:router1 obj.node.nodeMemo.0 'night shift' --schedule '22:00:00 1-5' --name night\n"
    "  oxjob create oxevent send --interval 1h --name hello -- --type 0x101 --memo 'still here'\n"
    "  oxjob list\n"
    "  oxjob next night 5                              when it runs\n"
    "  oxjob why night '2026-11-22 22:00'              whether it does then, and what stands in the way\n"
    "  oxjob next --schedule '08:00:00-18:00:00 1-5'   of a text that no entry has yet\n"
    "  oxjob check                                     what is doubtful in the schedules of all entries\n"
    "  oxjob runs night --last 20                      how it ran, with its output\n"
    "Exit code: 0 done, 1 an error (its text on stderr) or a doubtful schedule, 2 usage.";

constexpr char name_help[] = "the entry's name, as oxjob list shows it";

struct Line : tool::EntryLine {
  std::string zone;
  std::string schedule;
  std::string time;
  std::string from, to;
  std::uint32_t count = 0;
  tool::NewJob wanted;
  tool::ZonePtr clocks;

  [[nodiscard]] tool::JobCall call() const { return {EntryLine::call(), clocks.get()}; }
};

// Of the entry named, or of the text given.
tool::Timetable timetable_of(const Line& line) {
  if (!line.schedule.empty()) return {{line.schedule}, line.clocks.get()};
  return {tool::plan_of(line.call()), line.clocks.get()};
}

int show_next(const Line& line) {
  const tool::Timetable table = timetable_of(line);
  std::uint32_t after = line.from.empty() ? tool::now() : tool::moment(line.clocks.get(), line.from) - 1;
  tool::Rows rows(line.form.form(), {{"TIME", "time"}, {"", "kind"}});
  for (std::uint32_t i = 0; i < (line.count == 0 ? 1 : line.count); ++i) {
    const auto moment = table.next(after);
    if (!moment) break;
    after = moment->time;
    rows.add({{tool::shown_time(line.clocks.get(), after), tool::iso_time(line.clocks.get(), after)},
              tool::kinds_text(moment->kinds)});
  }
  rows.end();
  if (rows.count() == 0) std::fputs("oxjob: nothing happens any more\n", stderr);
  return tool::exit_ok;
}

int show_why(const Line& line) {
  const tool::Timetable table = timetable_of(line);
  const std::uint32_t at = tool::moment(line.clocks.get(), line.time);
  tool::Rows rows(line.form.form(), {{tool::shown_time(line.clocks.get(), at), "reason"}});
  for (const std::string& reason : table.reasons(at)) rows.add({reason});
  rows.end();
  return tool::exit_ok;
}

// The text, or those of all entries that have one.
int check(const Line& line) {
  std::vector<std::pair<std::string, std::string>> texts;  // whose, and the text
  if (!line.schedule.empty()) texts.emplace_back("--schedule", line.schedule);
  if (line.schedule.empty()) {
    for (auto& text : tool::schedules(line.call())) texts.push_back(std::move(text));
  }
  tool::Rows rows(line.form.form(), {{"ENTRY", "entry"}, {"DOUBTFUL", "doubt"}});
  for (const auto& [whose, text] : texts) {
    try {
      for (const std::string& doubt : tool::schedule_doubts(text, line.clocks.get(), tool::now())) {
        rows.add({whose, doubt});
      }
    } catch (const tool::Failure& failure) {
      rows.add({whose, std::string(failure.what()) + ": " + tool::error_text(failure.code())});
    }
  }
  rows.end();
  return rows.count() == 0 ? tool::exit_ok : tool::exit_failed;
}

void add_plan(tool::Command& command, Line& line) {
  command.add_option("name", line.name, name_help);
  command.add_option("-s,--schedule", line.schedule, "a schedule text in the place of an entry");
  command.add_option("--zone", line.zone, "time zone, as JST-9 or Europe/Berlin (default: the installation's)");
}

const std::vector<tool::Subcommand<Line>>& commands() {
  static const std::vector<tool::Subcommand<Line>> all = {
      {"create", "make an entry, which is armed at once; its name is printed", false, true,
       [](tool::Command& command, Line& line) { line.wanted.add_to(command); },
       [](const Line& line) { return tool::create_job(line.call(), line.wanted); }},
      {"list", "all entries", false, true, {}, [](const Line& line) { return tool::list_jobs(line.call()); }},
      {"show", "an entry", true, true, {}, [](const Line& line) { return tool::show_job(line.call()); }},
      {"start",
       "arm an entry: it runs when it is due",
       true,
       true,
       {},
       [](const Line& line) { return tool::arm_job(line.call(), true); }},
      {"stop", "disarm it", true, true, {}, [](const Line& line) { return tool::arm_job(line.call(), false); }},
      {"delete", "delete an entry", true, true, {}, [](const Line& line) { return tool::delete_job(line.call()); }},
      {"runs", "the ledger: what became of each time that was due, newest last", true, true,
       [](tool::Command& command, Line& line) {
         command.add_option("--from", line.from, "not before: 2026-11-22 13:05, -2h, or seconds since 1970");
         command.add_option("--to", line.to, "not after, likewise");
         command.add_option("-n,--last", line.count, "only the last so many (default: 20)");
       },
       [](const Line& line) { return tool::show_runs(line.call(), line.from, line.to, line.count); }},
      {"next", "when an entry is due next", false, true,
       [](tool::Command& command, Line& line) {
         add_plan(command, line);
         command.add_option("count,-n,--count", line.count, "so many times (default: 1)");
         command.add_option("--from", line.from, "seen from that time (default: now)");
       },
       show_next},
      {"why", "whether an entry is due at a time, and what stands in the way", false, true,
       [](tool::Command& command, Line& line) {
         add_plan(command, line);
         command.add_option("time", line.time, "2026-11-22 13:05, 13:05, -2h, or seconds since 1970");
       },
       show_why},
      {"check", "what is read in schedules without an error, but hardly as it was meant", false, true, add_plan, check},
  };
  return all;
}

// Without an entry the only word is the time, or the number.
void place_words(tool::Command& app, Line& line) {
  if (line.schedule.empty()) return;
  if (app.got_subcommand("why") && line.time.empty()) line.time.swap(line.name);
  if (app.got_subcommand("next") && !line.name.empty()) {
    tool::require(oxcStrToUlong(line.name.c_str(), 10, &line.count), line.name);
    line.name.clear();
  }
}

int run(tool::Command& app, Line& line) {
  place_words(app, line);
  const bool one = app.got_subcommand("why") || app.got_subcommand("next");
  if (one && line.schedule.empty() == line.name.empty()) throw tool::Usage("name an entry, or give --schedule");
  if (app.got_subcommand("why") && line.time.empty()) throw tool::Usage("which time?");
  line.clocks = tool::open_zone(line.zone);
  if (line.schedule.empty()) tool::open_session();
  return tool::run_command(app, commands(), line);
}

}  // namespace

int main(int argc, char** argv) {
  tool::Command app("Command entries: what the manager runs at set times.", "oxjob");
  Line line;
  tool::add_commands(app, commands(), line, name_help);
  app.footer(examples);
  return tool::run_with_words(app, tool::arguments(argc, argv), line.wanted.words, [&] { return run(app, line); });
}
