#include "report/commands.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>

#include <oxbase/oxbase.h>

#include "report/run.h"
#include "report/samples.h"
#include "tools/cli.h"
#include "tools/definitions.h"
#include "tools/diagnosis.h"
#include "tools/fit.h"
#include "tools/text.h"

namespace report {
namespace {

void require_started(const char* manager, const Report& report, bool force) {
  const tool::Fit fit = tool::fit_of(manager, "logEnt:" + report.log_entry);
  if (!fit.fits && !force) {
    throw std::runtime_error("logEnt:" + report.log_entry + " cannot fit: " + fit.why() +
                             "\n  next: a longer interval, or oxreport start --force " + report.name);
  }
  tool::require(oxrepStartRepEnt(manager, report.name.c_str()), report.component());
}

// The parameters in the definition's order; empty where the default holds.
std::vector<std::string> values_of(const Definition& definition, const std::vector<std::string>& given) {
  std::vector<std::string> values(definition.parameters.size());
  for (const std::string& one : given) {
    const std::size_t equals = one.find('=');
    const auto found = std::find_if(definition.parameters.begin(), definition.parameters.end(),
                                    [&](const auto& known) { return known.first == one.substr(0, equals); });
    if (equals == one.npos || found == definition.parameters.end()) {
      std::string names;
      for (const auto& known : definition.parameters) names += (names.empty() ? "" : ", ") + known.first;
      throw tool::Usage("--parameter " + one + ": write NAME=NUMBER; " +
                        (names.empty() ? "the type has none" : "the type has " + names));
    }
    values[static_cast<std::size_t>(found - definition.parameters.begin())] = one.substr(equals + 1);
  }
  return values;
}

// A page tells of a whole period: what has been collected is kept for two of them.
std::string kept_for(const std::string& period) {
  constexpr std::uint32_t usual = 604800;
  const auto parsed = tool::period_of(period);
  if (!parsed) throw tool::Usage("\"" + period + "\" is no period: write a number and one of s m h D W M Y, as 1D");
  return tool::seconds_of(*parsed) > usual / 2 ? std::to_string(2 * parsed->count) + parsed->unit : "";
}

// Deletes the log entry that was made for a report, unless the report was.
class MadeLogEntry {
 public:
  MadeLogEntry(const Call& call, const tool::NewLogEntry& wanted)
      : manager_(call.manager), name_(tool::make_log_entry({call.manager, "", call.form}, wanted).name) {}
  ~MadeLogEntry() {
    if (!kept_) (void)oxlLogEntryDelete(manager_, name_.c_str());
  }
  MadeLogEntry(const MadeLogEntry&) = delete;
  MadeLogEntry& operator=(const MadeLogEntry&) = delete;

  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  void keep() noexcept { kept_ = true; }

 private:
  const char* manager_;
  std::string name_;
  bool kept_ = false;
};

std::string made_report(const Call& call, const NewReport& wanted, const Definition& definition,
                        const std::string& log_entry) {
  const std::vector<std::string> values = values_of(definition, wanted.parameters);
  std::vector<const char*> parameters;
  for (const std::string& value : values) parameters.push_back(value.c_str());
  const std::string title = wanted.collected.title.empty() ? definition.description : wanted.collected.title;
  const char* name = nullptr;
  tool::require(
      oxrepCreateRepEnt(call.manager, title.c_str(), definition.name.c_str(), log_entry.c_str(), wanted.period.c_str(),
                        parameters.data(), static_cast<std::uint32_t>(parameters.size()),
                        wanted.folder.empty() ? nullptr : wanted.folder.c_str(), &name),
      "report of type " + definition.name);
  return name;
}

}  // namespace

void NewReport::add_to(tool::Command& command) {
  command.add_option("type", type, "its type, as oxreport types shows it").required();
  command.add_option("--title", collected.title, "what people call it (default: what the type says)");
  const tool::Option of_its_own =
      command.add_option("-c,--component", collected.component,
                         "what it tells of, patterns allowed: 'node:router*' (default: the type's)");
  command.add_option("--log", log, "feed it from that log entry in the place of one of its own").excludes(of_its_own);
  command.add_option("-i,--interval", collected.interval, "between two rounds, as 30s, 10m (default: 10m)");
  command.add_option("--expire", collected.expire, "keep what has been collected for that long");
  command.add_option("--period", period, "what one page tells of, as 1D, 1W, 1M (default: 1D)");
  command.add_option("-p,--parameter", parameters, "NAME=NUMBER of one of the type's parameters");
  command.add_option("--folder", folder, "of its files; a relative one lies in data/report of the work directory");
  const tool::Option started = command.add_flag("--start", start, "start it at once");
  command.add_flag("--force", force, "start it also when what it collects cannot fit").needs(started);
}

void register_types() {
  const OX_RESULT result = oxrepInit();
  if (result == OX_OK) return;
  const char* file = nullptr;
  std::uint32_t line = 0;
  (void)oxfGetErrorFile(&file, &line);
  if (file == nullptr || *file == '\0') throw tool::Failure("report types", result);
  tool::say(stderr, "%s; the file is left out: oxreport check tells more\n",
            tool::fault_line(file, line, result, "").c_str());
}

int create_report(const Call& call, const NewReport& given) {
  NewReport wanted = given;
  if (wanted.period.empty()) wanted.period = "1D";
  const Definition definition = definition_of(call.manager, tool::bare_name(type_family, wanted.type));
  (void)values_of(definition, wanted.parameters);
  tool::NewLogEntry& collected = wanted.collected;
  if (collected.expire.empty()) collected.expire = kept_for(wanted.period);
  if (collected.component.empty()) collected.component = definition.component;
  if (collected.title.empty()) collected.title = definition.description;
  collected.names = definition.attributes;
  if (!definition.label.empty()) collected.names.push_back(definition.label);
  std::string name;
  if (!wanted.log.empty()) {
    const std::string log_entry = tool::bare_name(tool::log_family, wanted.log);
    (void)tool::entry(call.manager, tool::log_family, log_entry);
    name = made_report(call, wanted, definition, log_entry);
  } else {
    MadeLogEntry log_entry(call, collected);
    name = made_report(call, wanted, definition, log_entry.name());
    log_entry.keep();
  }
  tool::put_name(call.form, "repEnt", name);
  if (wanted.start) require_started(call.manager, read_report(call.manager, name), wanted.force);
  return tool::exit_ok;
}

int list_reports(const Call& call) {
  std::vector<tool::Entry> all = tool::entries(call.manager, report_family);
  for (tool::Entry& one : all) {
    tool::Cell& state = one.values["11.31.7.0"];
    if (call.form == tool::Form::table) state.shown = tool::word_of("1 started|2 stopped", state.shown);
  }
  tool::print_entries(call.form, nullptr, report_family, all);
  return tool::exit_ok;
}

int start_report(const Call& call, bool force) {
  require_started(call.manager, read_report(call.manager, call.name), force);
  return tool::exit_ok;
}

int stop_report(const Call& call) {
  const Report report = read_report(call.manager, call.name);
  for (const tool::Entry& other : tool::entries(call.manager, report_family)) {
    if (other.name == report.name || other.text("11.31.3.0") != report.log_entry) continue;
    tool::say(stderr, "oxreport: logEnt:%s, which stops, feeds repEnt:%s, too; oxreport start %s goes on\n",
              report.log_entry.c_str(), other.name.c_str(), other.name.c_str());
  }
  tool::require(oxrepStopRepEnt(call.manager, report.name.c_str()), report.component());
  return tool::exit_ok;
}

int delete_report(const Call& call) {
  const Report report = read_report(call.manager, call.name);
  tool::require(oxrepDeleteRepEnt(call.manager, report.name.c_str()), report.component());
  tool::say(stderr, "oxreport: its files stay, and so does logEnt:%s (oxlog delete %s)\n", report.log_entry.c_str(),
            report.log_entry.c_str());
  return tool::exit_ok;
}

int run_reports(const Call& call) {
  if (!call.name.empty()) {
    for (const std::string& file : make_files(call.manager, call.name, true))
      tool::print(stdout, tool::shown_path(file) + "\n");
    return tool::exit_ok;
  }
  int failed = 0;
  for (const tool::Entry& one : tool::entries(call.manager, report_family)) {
    try {
      for (const std::string& file : make_files(call.manager, one.name, false))
        tool::print(stdout, tool::shown_path(file) + "\n");
    } catch (const std::exception& error) {
      const auto* const explained = dynamic_cast<const tool::Explained*>(&error);
      const auto* const failure = dynamic_cast<const tool::Failure*>(&error);
      std::string text = error.what();
      if (failure != nullptr)
        text += ": " + (explained != nullptr ? explained->text() : tool::error_text(failure->code()));
      tool::say(stderr, "oxreport: %s\n", text.c_str());
      ++failed;
    }
  }
  return failed == 0 ? tool::exit_ok : tool::exit_failed;
}

int open_page(const Call& call) {
  const Report report = read_report(call.manager, call.name);
  const std::string page = page_of(report, definition_of(call.manager, report.type));
  if (!std::filesystem::exists(page)) {
    throw std::runtime_error(page + ": there is no page yet\n  next: oxreport run " + report.name);
  }
  tool::print(stdout, tool::shown_path(page) + "\n");
  const char* const browser = std::getenv("BROWSER");
  if (browser == nullptr || *browser == '\0') return tool::exit_ok;
  oxcProcess* process = nullptr;
  tool::require(
      oxcCreateProcess(browser, (std::string("\"") + browser + "\" \"" + page + '"').c_str(), 0, nullptr, &process),
      std::string("BROWSER ") + browser);
  (void)oxcFreeProcess(process);
  return tool::exit_ok;
}

int check_file(const std::string& typed) {
  const std::string file = tool::system_path(typed);
  std::vector<FaultLine> faults;
  const std::vector<Line> lines = lines_of(file, faults);
  (void)define(lines, faults);
  tool::attach_tree();
  for (const Line& line : lines) {
    const bool names_one = line.number == OXREP_TYPE_MIBNAME || line.number == OXREP_TYPE_INDEX;
    if (!names_one || line.text.empty() || !numeric_path(line.text).empty()) continue;
    faults.push_back({line.line, line.text + " is no attribute that this installation knows"});
  }
  RepType* type = nullptr;
  const OX_RESULT result = oxrepReadRepType(file.c_str(), &type);
  (void)oxrepFreeRepType(type);
  if (result != OX_OK && faults.empty()) faults.push_back({0, "error " + std::to_string(result) + ": reptype"});
  std::stable_sort(faults.begin(), faults.end(),
                   [](const FaultLine& a, const FaultLine& b) { return a.line - 1 < b.line - 1; });
  for (const FaultLine& fault : faults) {
    const std::string place = fault.line != 0 ? ":" + std::to_string(fault.line) : "";
    (void)tool::say(stdout, "%s%s: %s\n", typed.c_str(), place.c_str(), tool::on_one_line(fault.text).c_str());
  }
  return faults.empty() ? tool::exit_ok : tool::exit_failed;
}

}  // namespace report
