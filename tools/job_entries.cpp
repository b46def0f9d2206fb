#include "tools/job_entries.h"

#include <algorithm>

#include "tools/cli.h"
#include "tools/text.h"
#include "tools/value_argument.h"

namespace tool {
namespace {

constexpr Field fields[] = {
    {"11.23.1.0", "COMMAND", "command", Kind::text, true},
    {"11.23.2.0", "ARGUMENT", "argument", Kind::text, true},
    {"11.23.6.0", "STATE", "operStatus", Kind::word, true, "0 not armed|1 armed|2 running|3 last run failed"},
    {"11.23.5.0", "ARMED", "adminStatus", Kind::word, false, "0 no|1 yes"},
    {"11.23.10.0", "SCHEDULE", "schedule", Kind::text, true},
    {"11.23.3.0", "FROM", "startTime", Kind::time},
    {"11.23.4.0", "EVERY (SECONDS)", "interval", Kind::number},
    {"11.23.8.0", "RUNS", "mode", Kind::word, false,
     "1 beside itself|2 one at a time|3 one at a time, a missed one later"},
    {"11.23.11.0", "COMMAND AT THE END", "closingCommand"},
    {"11.23.12.0", "ITS ARGUMENT", "closingArgument"},
    {"11.23.14.0", "NEXT", "nextStart", Kind::time, true},
    {"11.23.15.0", "LAST", "lastStart", Kind::time, true},
    {"11.23.16.0", "LAST EXIT", "lastExitStatus", Kind::number, true},
    {"11.23.13.0", "LAST ERROR", "lastError"},
    {"11.23.9.0", "OWNER", "owner"},
    {"11.23.7.0", "ID", "id", Kind::number},
};

using JobPtr = Owner<cmdEntry, oxcmdEntryFree>;

std::string name_of(const JobCall& call) { return bare_name(job_family, call.name); }
std::string component_of(const JobCall& call) { return "cmdEnt:" + name_of(call); }

void require_entry(const JobCall& call) { (void)entry(call.manager, job_family, call.name); }

std::uint32_t interval_of(const NewJob& wanted) {
  if (wanted.interval.empty()) return 0;
  const auto period = period_of(wanted.interval);
  if (!period || period->unit == 'M' || period->unit == 'Y') {
    throw Usage("\"" + wanted.interval + "\" is no interval: write a number and one of s m h D W, as 10m");
  }
  return seconds_of(*period);
}

// Doubts are told, and the entry is made all the same.
void tell_doubts(const std::string& schedule, const oxcZone* zone) {
  for (const std::string& doubt : schedule_doubts(schedule, zone, now())) {
    say(stderr, "oxjob: --schedule: %s\n", doubt.c_str());
  }
}

JobPtr record_of(const JobCall& call, const NewJob& wanted) {
  JobPtr record(oxcmdEntryAlloc());
  if (record == nullptr) throw std::bad_alloc();
  const std::uint32_t start = wanted.start_time.empty() ? 0 : moment(call.zone, wanted.start_time);
  const auto text = [](const std::string& value) { return value.empty() ? nullptr : value.c_str(); };
  require(oxcmdCmdEntSetAllValues(record.get(), 0, text(wanted.name), wanted.command.c_str(),
                                  one_text(wanted.words).c_str(), 0, start, interval_of(wanted),
                                  wanted.disarmed ? 0 : 1, 0, 0, 0, 0, wanted.mode, wanted.owner.c_str(),
                                  text(wanted.schedule), text(wanted.closing), text(wanted.closing_argument)),
          wanted.command);
  return record;
}

}  // namespace

const Family job_family = {"cmdEnt", "11.23.{1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16}.0", "11.23.7.0", fields,
                           "oxjob list"};

void NewJob::add_to(Command& sub) {
  sub.add_option("command", command, "program, of one of the folders that the manager allows").required();
  sub.add_option("arguments", words, "its arguments; behind -- they may begin with a dash").any_number();
  sub.add_option("-n,--name", name, "name of the entry (default: the manager makes one)");
  sub.add_option("-s,--schedule", schedule, "when it runs, as '06:00:00 1-5', or the ranges in which it is on");
  sub.add_option("--from", start_time, "not before that time, as 2026-11-22 13:05");
  sub.add_option("-i,--interval", interval, "how often, as 10m; with a schedule, inside its ranges");
  sub.add_option("--mode", mode,
                 "parallel: may run beside itself; single: one at a time; catch-up: and one that was "
                 "missed runs later (default: single)")
      .choice_of({{"parallel", 1}, {"single", 2}, {"catch-up", 3}});
  sub.add_option("--owner", owner, "application or user");
  const Option closer =
      sub.add_option("--closing", closing, "program that runs when a range ends, and when a run fails to start");
  sub.add_option("--closing-argument", closing_argument, "its arguments, as one text").needs(closer);
  sub.add_flag("--disarmed", disarmed, "do not run it yet");
}

int create_job(const JobCall& call, const NewJob& wanted) {
  if (wanted.schedule.empty() && wanted.interval.empty() && wanted.start_time.empty()) {
    throw Usage("when? Give --schedule, --interval or --from");
  }
  if (!wanted.schedule.empty()) tell_doubts(wanted.schedule, call.zone);
  const JobPtr record = record_of(call, wanted);
  cmdEntry* made = nullptr;
  const OX_RESULT result = oxcmdCreateNewCmdEntry(call.manager, record.get(), &made);
  const JobPtr owner(made);
  require(result, wanted.name.empty() ? wanted.command : "cmdEnt:" + wanted.name);
  const char* name = "";
  require(oxcmdCmdEntGetCmdEntryName(made, &name), wanted.command);
  put_name(call.form, "cmdEnt", name);
  return exit_ok;
}

int list_jobs(const JobCall& call) {
  print_entries(call.form, call.zone, job_family, entries(call.manager, job_family));
  return exit_ok;
}

int show_job(const JobCall& call) {
  print_entry(call.form, call.zone, job_family, entry(call.manager, job_family, call.name));
  return exit_ok;
}

int arm_job(const JobCall& call, bool armed) {
  require_entry(call);
  require(oxcmdSetAdminStatus(call.manager, name_of(call).c_str(), armed ? 1 : 0), component_of(call));
  return exit_ok;
}

int delete_job(const JobCall& call) {
  require_entry(call);
  require(oxcmdDeleteCmdEntry(call.manager, name_of(call).c_str()), component_of(call));
  return exit_ok;
}

namespace {

const Family log_times = {"logEnt", "11.14.{3,6,7,10,16}.0", "11.14.3.0", {}};

bool is_of_log(const JobCall& call) { return call.name.starts_with("logEnt:"); }

constexpr char run_path[] = "11.23.17";
enum : std::uint32_t { due = 1, start, end, what, exit_status, output, reason, command, count };
constexpr char became[] =
    "0 runs now|1 ran|2 ran late|3 missed|4 refused|5 failed to start|6 killed|7 lost: the manager died";

// Of a time; nothing where it is 0.
Cell time_cell(const oxcZone* zone, const Cell& cell) {
  const std::uint32_t time = cell.value.is_number() ? cell.value.get<std::uint32_t>() : 0;
  return time == 0 ? Cell() : Cell(shown_time(zone, time), iso_time(zone, time));
}

}  // namespace

Timetable::Plan plan_of(const JobCall& call) {
  if (is_of_log(call)) {
    const Entry one = entry(call.manager, log_times, call.name);
    const auto period = period_of(one.text("11.14.7.0"));
    return {one.text("11.14.16.0"), one.number("11.14.6.0"), period ? seconds_of(*period) : 0,
            one.number("11.14.10.0") == 2};
  }
  const Entry one = entry(call.manager, job_family, call.name);
  return {one.text("11.23.10.0"), one.number("11.23.3.0"), one.number("11.23.4.0"), one.number("11.23.5.0") == 1};
}

std::vector<std::pair<std::string, std::string>> schedules(const JobCall& call) {
  std::vector<std::pair<std::string, std::string>> texts;
  if (!call.name.empty()) {
    texts.emplace_back(is_of_log(call) ? call.name : component_of(call), plan_of(call).schedule);
  } else {
    for (const Entry& one : entries(call.manager, job_family))
      texts.emplace_back("cmdEnt:" + one.name, one.text("11.23.10.0"));
    for (const Entry& one : entries(call.manager, log_times))
      texts.emplace_back("logEnt:" + one.name, one.text("11.14.16.0"));
  }
  std::erase_if(texts, [](const auto& text) { return text.second.empty(); });
  return texts;
}

int show_runs(const JobCall& call, const std::string& from, const std::string& to, std::uint32_t most) {
  require_entry(call);
  oxaSelection selection{};
  if (!from.empty()) selection.word[0] = moment(call.zone, from);
  if (!to.empty()) selection.word[1] = moment(call.zone, to);
  selection.word[4] = most != 0 ? most : 20;
  Rows rows(call.form, {{"DUE", "due"},
                        {"TIMES", "count", true},
                        {"BECAME", "what"},
                        {"STARTED", "start"},
                        {"ENDED", "end"},
                        {"EXIT", "exitStatus", true},
                        {"COMMAND", "command"},
                        {"REASON", "reason"},
                        {"OUTPUT", "output"}});
  for (auto& [number, columns] : ledger(call.manager, component_of(call), run_path, selection)) {
    const Cell& result = columns[what];
    rows.add({time_cell(call.zone, columns[due]),
              columns[count],
              {word_of(became, result.value.dump()), result.value},
              time_cell(call.zone, columns[start]),
              time_cell(call.zone, columns[end]),
              columns[exit_status],
              columns[command],
              columns[reason],
              columns[output]});
  }
  rows.end();
  return exit_ok;
}

}  // namespace tool
