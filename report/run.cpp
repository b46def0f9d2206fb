#include "report/run.h"

#include <algorithm>
#include <charconv>
#include <filesystem>

#include <oxbase/oxbase.h>

#include "report/csv.h"
#include "report/page.h"
#include "report/period.h"
#include "tools/diagnosis.h"
#include "tools/log_entries.h"
#include "tools/output_file.h"
#include "tools/progress.h"

namespace report {
namespace {

constexpr std::size_t most_ended = 31;  // periods that are caught up with
// A round may come so many seconds after it was due.
constexpr std::uint32_t lateness = 60;

// Of two processes one makes a report's files at a time.
class Lock {
 public:
  Lock(const char* manager, const std::string& component) : manager_(manager) {
    constexpr std::uint32_t exclusive = 2;
    const OX_RESULT result = oxaCompLock(manager, component.c_str(), exclusive, &id_);
    if (result == OX_EEXISTS) {
      throw tool::Explained(component, result, {"another process is making its page", "wait until that has ended"});
    }
    tool::require(result, component);
  }
  ~Lock() { (void)oxaCompUnlock2(id_, manager_); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  const char* manager_;
  std::uint32_t id_ = 0;
};

struct Work {
  const char* manager = nullptr;
  Report report;
  Definition definition;
  tool::ZonePtr zone;
  tool::Period period;
  std::string folder;
  tool::Entry log_entry;
};

std::vector<double> parameters_of(const Report& report, const Definition& definition) {
  std::vector<double> values;
  for (std::size_t i = 0; i < definition.parameters.size(); ++i) {
    double value = definition.parameters[i].second;
    if (i < report.parameters.size() && !report.parameters[i].empty()) {
      const std::string& text = report.parameters[i];
      const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
      if (error != std::errc() || end != text.data() + text.size()) {
        throw std::runtime_error(report.component() + ": parameter " + definition.parameters[i].first + " is \"" +
                                 text + "\", which is no number\n  next: oxset " + report.component() + " 11.31.5.1." +
                                 std::to_string(i + 1) + " NUMBER");
      }
    }
    values.push_back(value);
  }
  return values;
}

std::vector<std::string> make_period(const Work& work, const Span& span, const std::string& page_name) {
  namespace fs = std::filesystem;
  const std::string stem = (work.definition.prefix.empty() ? work.definition.name : work.definition.prefix) + '-' +
                           period_name(work.zone.get(), span, work.period);
  const std::string csv_path = (fs::path(work.folder) / (stem + ".csv")).string();
  const std::string page_path = (fs::path(work.folder) / (page_name.empty() ? stem + ".htm" : page_name)).string();
  const tool::Progress progress("reading what " + work.report.component() + " tells of");
  tool::OutputFile csv_file(csv_path);
  Samples samples(work.definition, parameters_of(work.report, work.definition));
  Curves curves(work.definition.results.size());
  Csv csv(work.definition, samples, work.zone.get(), csv_file.get());
  samples.read(work.manager, work.report.log_entry, span.from, span.to, {&curves, &csv});
  tool::Window window;
  window.from = span.from;
  window.to = span.to;
  tool::OutputFile page_file(page_path);
  const Page page{work.report.title,
                  "logEnt:" + work.report.log_entry,
                  work.log_entry.text("11.14.7.0"),
                  span.from,
                  span.to,
                  work.zone.get(),
                  &work.definition,
                  &samples.instances(),
                  &curves,
                  tool::gap_rows(work.manager, work.report.log_entry, window, {})};
  write_page(page, page_file.get());
  csv_file.finish();
  page_file.finish();
  return {csv_path, page_path};
}

Work work_of(const char* manager, const std::string& name) {
  Work work{manager, read_report(manager, name), {}, tool::open_zone(), {}, "", {}};
  if (work.report.log_entry.empty()) {
    throw tool::Explained(work.report.component(), OX_ENOLOGENTRY,
                          {"no log entry feeds it", "oxset " + work.report.component() + " 11.31.3.0 NAME"});
  }
  work.definition = definition_of(manager, work.report.type);
  const auto period = tool::period_of(work.report.period.empty() ? "1D" : work.report.period);
  if (!period) {
    throw std::runtime_error(work.report.component() + ": \"" + work.report.period + "\" is no period; next: oxset " +
                             work.report.component() + " 11.31.4.0 1D");
  }
  work.period = *period;
  work.folder = folder_of(work.report);
  work.log_entry = tool::entry(manager, tool::log_family, work.report.log_entry);
  return work;
}

void make_folder(const std::string& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error)
    throw std::runtime_error(folder + ": " + error.message() + "; next: name another folder, or allow writing");
}

}  // namespace

std::string page_of(const Report& report, const Definition& definition) {
  return (std::filesystem::path(folder_of(report)) / definition.page).string();
}

std::vector<std::string> make_files(const char* manager, const std::string& name, bool forced) {
  const std::string component = "repEnt:" + tool::bare_name(report_family, name);
  (void)read_report(manager, name);
  const Lock lock(manager, component);
  const Work work = work_of(manager, name);
  const std::uint32_t collected = work.log_entry.number("11.14.12.0");
  const std::uint32_t last_page = iso_moment(work.report.last_page);
  if (!forced && (collected == 0 || (last_page != 0 && collected + lateness < last_page))) return {};
  make_folder(work.folder);
  const oxcZone* const zone = work.zone.get();
  const Span current = period_around(zone, collected != 0 ? collected : tool::now(), work.period);
  std::vector<Span> ended;
  if (last_page != 0 && last_page < current.from) {
    ended.push_back(period_around(zone, last_page, work.period));
    while (ended.back().to + 1 < current.from) ended.push_back(period_around(zone, ended.back().to + 1, work.period));
  }
  if (ended.size() > most_ended) ended.erase(ended.begin(), ended.end() - most_ended);
  std::vector<std::string> files;
  for (const Span& span : ended) {
    for (std::string& file : make_period(work, span, "")) files.push_back(std::move(file));
  }
  const std::string made_at = tool::iso_time(zone, tool::now());
  for (std::string& file : make_period(work, current, work.definition.page)) files.push_back(std::move(file));
  tool::require(oxrepRepEntConfSet(manager, work.report.name.c_str(), "11.31.8.0", made_at.c_str()), component);
  return files;
}

}  // namespace report
