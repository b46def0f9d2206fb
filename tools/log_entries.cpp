#include "tools/log_entries.h"

#include <array>
#include <iostream>

#include "platform/terminal.h"
#include "tools/cli.h"
#include "tools/fit.h"
#include "tools/steps.h"
#include "tools/text.h"

namespace tool {
namespace {

constexpr Field fields[] = {
    {"11.14.1.0", "TITLE", "title", Kind::text, true},
    {"11.14.10.0", "STATE", "status", Kind::word, true, "0 new|2 running|3 stopped|4 filled from outside"},
    {"11.14.4.0", "COMPONENT", "component", Kind::text, true},
    {"11.14.5.0", "ATTRIBUTES", "attributes", Kind::text, true},
    {"11.14.7.0", "INTERVAL", "interval", Kind::text, true},
    {"11.14.8.0", "ROTATED AFTER", "rotatePeriod"},
    {"11.14.9.0", "KEPT FOR", "expirePeriod"},
    {"11.14.16.0", "SCHEDULE", "schedule"},
    {"11.14.17.0", "COLLECTS", "scheduleType", Kind::word, false, "0 when the schedule holds|1 when it does not"},
    {"11.14.6.0", "FROM", "startTime", Kind::time},
    {"11.14.12.0", "LAST COLLECTED", "lastCollectTime", Kind::time, true},
    {"11.14.15.0", "FAILED", "failedCollections", Kind::number},
    {"11.14.11.0", "FILLED NOW", "activeDataEntry"},
    {"11.14.3.0", "ID", "id", Kind::number},
    {"11.14.2.0", "KEY", "key"},
};

constexpr std::uint32_t running = 2;

using LogEntryPtr = Owner<LogEntry, oxlFreeLogEntry>;

std::string component_of(const Call& call) { return "logEnt:" + bare_name(log_family, call.name); }
std::string name_of(const Call& call) { return bare_name(log_family, call.name); }

std::string joined(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ",") + name;
  return list;
}

// An entry that is not there is told with the next step, before anything is done.
void require_entry(const Call& call) { (void)entry(call.manager, log_family, call.name); }

void write_schedule(const Call& call, const NewLogEntry& wanted) {
  LogEntry* record = nullptr;
  require(oxlLogEntryOpen(call.manager, call.name.c_str(), 1, &record), component_of(call));
  require(oxlLogEntrySetSchedule(record, wanted.schedule.c_str()), "--schedule");
  require(oxlLogEntrySetScheduleType(record, wanted.outside_schedule ? 1 : 0), "--outside");
  const OX_RESULT result = oxlLogEntryClose2(call.manager, record);
  if (result == OX_OK) return;
  (void)oxlFreeLogEntry(record);
  throw Failure(component_of(call) + " --schedule", result);
}

std::string made_entry(const Call& call, const NewLogEntry& wanted, const oxcZone* zone) {
  LogEntry* record = nullptr;
  require(oxlAllocLogEntry(&record), "log entry");
  const LogEntryPtr owner(record);
  const auto set = [record](OX_RESULT(OX_CALL * setter)(LogEntry*, const char*), const std::string& text) {
    if (!text.empty()) require(setter(record, text.c_str()), text);
  };
  set(oxlLogEntrySetTitle, wanted.title);
  set(oxlLogEntrySetCompName, wanted.component);
  set(oxlLogEntrySetAmibName, joined(wanted.names));
  set(oxlLogEntrySetInterval, wanted.interval);
  set(oxlLogEntrySetRotatePeriod, wanted.rotate);
  set(oxlLogEntrySetExpirePeriod, wanted.expire);
  if (!wanted.start_time.empty()) require(oxlLogEntrySetStartTime(record, moment(zone, wanted.start_time)), "--from");
  require(oxlLogEntrySetType(record, 1), "log entry");
  const OX_RESULT result = oxlSetLogEntry(call.manager, record);
  const char* name = nullptr;
  (void)oxlLogEntryGetName(record, &name);
  if (result != OX_OK && name != nullptr) (void)oxlLogEntryDelete(call.manager, name);
  require(result, wanted.component + ' ' + joined(wanted.names));
  return name;
}

void check_periods(const NewLogEntry& wanted) {
  for (const std::string& text : {wanted.interval, wanted.rotate, wanted.expire}) {
    if (text.empty() || period_of(text)) continue;
    throw Usage("\"" + text + "\" is no period: write a number and one of s m h D W M Y, as 10m");
  }
}

bool is_agreed(const std::string& question) {
  if (!ox::platform::is_terminal(ox::platform::Stream::input)) {
    throw std::runtime_error("nobody can be asked here; nothing is deleted without --yes");
  }
  say(stderr, "%s [y/N] ", question.c_str());
  std::string answer;
  std::getline(std::cin, answer);
  return answer == "y" || answer == "Y" || answer == "yes";
}

}  // namespace

const Family log_family = {"logEnt", "11.14.{1,2,3,4,5,6,7,8,9,10,11,12,13,15,16,17}.0", "11.14.3.0", fields,
                           "oxlog list"};

void NewLogEntry::add_to(Command& command) {
  command.add_option("component", component, "type:name, patterns allowed: 'node:router*'").required();
  command.add_option("attributes", names, "as for oxget: names, paths, columns; braces and commas expand").required();
  command.add_option("--title", title, "what people call it");
  command.add_option("-i,--interval", interval, "between two rounds, as 30s, 10m, 1D (default: 10m)");
  command.add_option("--rotate", rotate, "begin a new data entry after that long (default: 1D)");
  command.add_option("--expire", expire, "keep what has been collected for that long (default: 1W)");
  command.add_option("--from", start_time, "not before that time, as 2026-11-22 13:05");
  const Option given = command.add_option("--schedule", schedule, "collect when it holds, as '08:00:00-18:00:00 1-5'");
  command.add_flag("--outside", outside_schedule, "collect when the schedule does not hold").needs(given);
  const Option started = command.add_flag("--start", start, "start it at once");
  command.add_flag("--force", force, "start it also when it cannot fit").needs(started);
}

Call make_log_entry(const Call& call, const NewLogEntry& wanted) {
  check_periods(wanted);
  if (!wanted.schedule.empty()) require(oxcmdStrToSchedule(wanted.schedule.c_str(), nullptr), "--schedule");
  Call made = call;
  made.name = made_entry(call, wanted, open_zone().get());
  if (!wanted.schedule.empty()) write_schedule(made, wanted);
  return made;
}

int create_log_entry(const Call& call, const NewLogEntry& wanted) {
  const Call made = make_log_entry(call, wanted);
  put_name(call.form, "logEnt", made.name);
  return wanted.start ? start_log_entry(made, wanted.force) : exit_ok;
}

int list_log_entries(const Call& call) {
  print_entries(call.form, open_zone().get(), log_family, entries(call.manager, log_family));
  return exit_ok;
}

std::vector<DataEntryRow> data_entries(const Call& call) {
  DataEntryList* list = nullptr;
  require(oxlDataEntryListOpen(call.manager, name_of(call).c_str(), &list), component_of(call));
  const Owner<DataEntryList, oxlDataEntryListClose> owner(list);
  std::vector<DataEntryRow> rows;
  for (;;) {
    DataEntry* record = nullptr;
    require(oxlDataEntryNextOpen(list, &record), component_of(call));
    if (record == nullptr) return rows;
    const Owner<DataEntry, oxlDataEntryClose> entry(record);
    DataEntryRow row;
    const char* name = nullptr;
    (void)oxlDataEntryGetName(record, &name);
    (void)oxlDataEntryGetPeriodStart(record, &row.from);
    (void)oxlDataEntryGetPeriodEnd(record, &row.to);
    (void)oxlDataEntryGetStatus(record, &row.status);
    (void)oxlDataEntryGetDataSize(record, &row.bytes);
    row.name = name;
    rows.push_back(row);
  }
}

std::string shown_bytes(std::uint64_t bytes) {
  return bytes < 1000 ? std::to_string(bytes) + " bytes" : short_number(static_cast<double>(bytes)) + 'B';
}

namespace {

// What was due, and what has become of it.
More books_of(const Call& call) {
  constexpr std::pair<std::uint32_t, const char*> columns[] = {
      {1, "due"}, {2, "stored"}, {3, "gaps"}, {4, "open"}, {5, "lost"}};
  Ledger books;
  try {
    books = ledger(call.manager, component_of(call), "11.14.21", {});
  } catch (const Failure& failure) {
    if (failure.code() != OX_EAMIBNAME) throw;
  }
  std::string shown;
  nlohmann::json object = nlohmann::json::object();
  for (const auto& [column, word] : columns) {
    const Cell& cell = books[0][column];
    if (cell.shown.empty() || (column > 3 && cell.shown == "0")) continue;
    shown += (shown.empty() ? "" : ", ") + cell.shown + ' ' + word;
    object[word] = cell.value;
  }
  return {{"VALUES", "values"}, {shown, object}};
}

}  // namespace

int show_log_entry(const Call& call) {
  constexpr std::uint32_t open_end = 2145916800;
  const ZonePtr zone = open_zone();
  const Entry one = entry(call.manager, log_family, call.name);
  const std::vector<DataEntryRow> parts = data_entries(call);
  nlohmann::json list = nlohmann::json::array();
  std::uint64_t bytes = 0;
  for (const DataEntryRow& part : parts) {
    bytes += part.bytes;
    list.push_back({{"dataEnt", part.name},
                    {"from", iso_time(zone.get(), part.from)},
                    {"to", part.to == open_end ? nlohmann::json() : nlohmann::json(iso_time(zone.get(), part.to))},
                    {"bytes", part.bytes}});
  }
  const std::string shown = std::to_string(parts.size()) + ", " + shown_bytes(bytes);
  print_entry(call.form, zone.get(), log_family, one,
              {{{"DATA ENTRIES", "dataEntries"}, {shown, list}}, books_of(call)});
  if (call.form != Form::table || parts.empty()) return exit_ok;
  (void)std::puts("");
  Rows rows(Form::table, {{"DATA ENTRY", ""}, {"FROM", ""}, {"TO", ""}, {"STATE", ""}, {"SIZE", "", true}});
  for (const DataEntryRow& part : parts) {
    rows.add({part.name, shown_time(zone.get(), part.from), part.to == open_end ? "" : shown_time(zone.get(), part.to),
              part.status == 1 ? "collecting" : "closed", shown_bytes(part.bytes)});
  }
  rows.end();
  return exit_ok;
}

int copy_log_entry(const Call& call) {
  require_entry(call);
  const char* name = nullptr;
  require(oxlLogEntryCopy(call.manager, name_of(call).c_str(), &name), component_of(call));
  print(stdout, name + std::string("\n"));
  return exit_ok;
}

int delete_log_entry(const Call& call, bool yes) {
  require_entry(call);
  std::uint64_t bytes = 0;
  const std::vector<DataEntryRow> parts = data_entries(call);
  for (const DataEntryRow& part : parts) bytes += part.bytes;
  const std::string what =
      component_of(call) + " and its " + std::to_string(parts.size()) + " data entries (" + shown_bytes(bytes) + ")";
  say(stderr, "oxlog: deleting %s\n", what.c_str());
  if (!yes && !is_agreed("Delete them?")) return exit_failed;
  require(oxlLogEntryDelete(call.manager, name_of(call).c_str()), component_of(call));
  return exit_ok;
}

int start_log_entry(const Call& call, bool force) {
  require_entry(call);
  const Fit fit = fit_of(call.manager, component_of(call));
  if (call.form == Form::table) print_fit(call.form, fit);
  if (!fit.fits && !force) {
    throw std::runtime_error(component_of(call) + " cannot fit: " + fit.why() +
                             "\n  next: a longer interval, fewer values, a shorter time to keep them; or oxlog start " +
                             "--force " + name_of(call));
  }
  require(oxlLogEntryStart(call.manager, name_of(call).c_str()), component_of(call));
  return exit_ok;
}

int stop_log_entry(const Call& call) {
  require_entry(call);
  require(oxlLogEntryStop(call.manager, name_of(call).c_str()), component_of(call));
  return exit_ok;
}

int show_fit(const Call& call) {
  require_entry(call);
  const Fit fit = fit_of(call.manager, component_of(call));
  print_fit(call.form, fit);
  return fit.fits ? exit_ok : exit_failed;
}

}  // namespace tool
