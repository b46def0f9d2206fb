// Reports: made, started with their log entry, stopped, deleted; their first page.
#include <algorithm>

#include <oxbase/oxl.h>

#include "common/error_codes.h"
#include "common/installed_page.h"
#include "common/paths.h"
#include "entries/component.h"
#include "entries/report/report.h"
#include "platform/environment.h"
#include "platform/file.h"

namespace ox::entries {
namespace {

constexpr char log_entry_path[] = "11.31.3.0";
constexpr char state_path[] = "11.31.7.0";
constexpr char started[] = "1";
constexpr char stopped[] = "2";

struct Wanted {
  const char* title;
  const char* type;
  const char* log_entry;
  const char* period;
  const char* const* parameters;
  std::uint32_t count;
  const char* folder;

  [[nodiscard]] OX_RESULT check() const noexcept {
    if (title == nullptr || (parameters == nullptr && count != 0)) return OX_EMISSING;
    const OX_RESULT result = check_name(type);
    return result != OX_OK ? result : check_name(log_entry);
  }
};

OX_RESULT fill(const Wanted& wanted, const char* name, RepEnt& report) noexcept {
  const std::pair<Text RepEnt::*, const char*> texts[] = {
      {&RepEnt::name, name},
      {&RepEnt::title, wanted.title},
      {&RepEnt::rep_type, wanted.type},
      {&RepEnt::log_entry, wanted.log_entry},
      {&RepEnt::period, wanted.period},
      {&RepEnt::folder, wanted.folder != nullptr ? wanted.folder : name},
      {&RepEnt::state, stopped}};
  OX_RESULT result = OX_OK;
  for (const auto& [member, text] : texts) {
    if (result == OX_OK) result = field::assign(report.*member, text);
  }
  for (std::uint32_t i = wanted.count; i != 0 && result == OX_OK; --i) {
    result = put_text(report.parameters, i, wanted.parameters[i - 1], "str_set");
  }
  return result;
}

OX_RESULT create(const char* manager, const Wanted& wanted, const char** name) {
  if (name == nullptr) return OX_EMISSING;
  if (const OX_RESULT result = wanted.check()) return result;
  const report_ptr report(oxrepAllocRepEnt());
  if (!report) return OX_ENOMEM;
  const char* added = nullptr;
  if (const OX_RESULT result = add_component(add_entry, manager, {report_type, nullptr}, added)) return result;
  AddedComponent component(delete_command, manager, {report_type, added});
  OX_RESULT result = fill(wanted, added, *report);
  if (result == OX_OK) result = oxrepSetRepEnt(manager, report.get());
  if (result != OX_OK) return result;
  component.release();
  *name = added;
  return OX_OK;
}

OX_RESULT read_log_entry(const char* manager, const char* name, std::string& log_entry) {
  if (const OX_RESULT result = check_name(name)) return result;
  if (const OX_RESULT result = read_one(manager, {report_type, name}, log_entry_path, log_entry)) return result;
  return log_entry.empty() ? OX_RESULT{OX_ENOLOGENTRY} : OX_RESULT{OX_OK};
}

OX_RESULT start(const char* manager, const char* name) {
  std::string log_entry;
  OX_RESULT result = read_log_entry(manager, name, log_entry);
  if (result == OX_OK) result = oxlStartLogEntry(manager, log_entry.c_str());
  if (result == OX_OK) result = oxrepRepEntConfSet(manager, name, state_path, started);
  return result != OX_OK ? result : oxrepCopySample(manager, name);
}

OX_RESULT stop(const char* manager, const char* name) {
  std::string log_entry;
  OX_RESULT result = read_log_entry(manager, name, log_entry);
  if (result == OX_OK) result = oxlStopLogEntry(manager, log_entry.c_str());
  return result != OX_OK ? result : oxrepRepEntConfSet(manager, name, state_path, stopped);
}

// One that has lost its log entry can go, too.
OX_RESULT remove(const char* manager, const char* name) {
  std::string log_entry;
  const OX_RESULT result = read_log_entry(manager, name, log_entry);
  if (result != OX_OK && result != OX_ENOLOGENTRY) return result;
  return delete_component(delete_command, manager, {report_type, name});
}

// With a drive only where the platform has some.
bool is_absolute(std::string_view path) noexcept {
  const bool has_drives = platform::path_separator == '\\';
  if (has_drives && path.size() > 2 && path[1] == ':') path.remove_prefix(2);
  return !path.empty() && is_separator(path.front());
}

// Whether a relative path stays where it is put: it has no ".." and no drive.
bool stays_inside(std::string_view path) noexcept {
  while (!path.empty()) {
    const std::string_view one = path.substr(0, path_page().find_separator(path));
    if (one == ".." || one.find(':') != std::string_view::npos) return false;
    path.remove_prefix(std::min(one.size() + 1, path.size()));
  }
  return true;
}

// Makes the folder and those above it. Those that are there may refuse to be made in other ways.
OX_RESULT make_folders(const std::string& path) {
  platform::FileAttributes attributes;
  for (std::size_t end = 0; end < path.size();) {
    end = std::min(path_page().find_separator(path, end + 1), path.size());
    const std::string one = path.substr(0, end);
    if (platform::file_attributes(one.c_str(), attributes) == platform::error_none) continue;
    const auto error = platform::make_directory(one.c_str());
    if (error != platform::error_none && error != platform::error_already_exists) return code_of_platform_error(error);
  }
  return OX_OK;
}

OX_RESULT read_file(const std::string& path, std::string& bytes) {
  constexpr std::uint32_t read = 0x80000000;
  constexpr std::uint32_t open_existing = 3;
  const std::intptr_t file = platform::open_file(path.c_str(), read, 1, nullptr, open_existing, 0, nullptr);
  if (file == -1) return code_of_platform_error(platform::last_error());
  const auto error = platform::read_whole(file, bytes);
  platform::close_file(file);
  return code_of_platform_error(error);
}

OX_RESULT write_file(const std::string& path, const std::string& bytes) {
  constexpr std::uint32_t write = 0x40000000;
  constexpr std::uint32_t create_always = 2;
  const std::string temporary = path + ".tmp";
  const std::intptr_t file = platform::open_file(temporary.c_str(), write, 0, nullptr, create_always, 0, nullptr);
  if (file == -1) return code_of_platform_error(platform::last_error());
  auto error = platform::append_synced(file, bytes);
  platform::close_file(file);
  if (error == platform::error_none) error = platform::replace_file(temporary.c_str(), path.c_str());
  if (error != platform::error_none) (void)platform::remove_file(temporary.c_str());
  return code_of_platform_error(error);
}

OX_RESULT copy_sample(const std::string& folder, const std::string& page) {
  const bool absolute = is_absolute(folder);
  if (!absolute && !stays_inside(folder)) return OX_EFORMAT;
  if (!stays_inside(page) || has_separator(page)) return OX_EFORMAT;
  std::string bytes;
  OX_RESULT result = read_file(work_path({"public", "report", "sample.htm"}), bytes);
  const std::string target = absolute ? join_path({folder}) : work_path({"data", "report", folder});
  if (result == OX_OK) result = make_folders(target);
  return result != OX_OK ? result : write_file(join_path({target, page}), bytes);
}

OX_RESULT copy_sample_of(const char* manager, const char* name) {
  if (const OX_RESULT result = check_name(name)) return result;
  const Component report{report_type, name};
  std::string folder, type, page;
  OX_RESULT result = read_one(manager, report, "11.31.6.0", folder);
  if (result == OX_OK) result = read_one(manager, report, "11.31.2.0", type);
  if (result == OX_OK && (folder.empty() || type.empty())) result = OX_ENOTFOUND;
  if (result == OX_OK) result = read_one(manager, {report_type_type, type.c_str()}, "11.30.11.0", page);
  return result != OX_OK ? result : copy_sample(folder, !page.empty() ? page : "sample.htm");
}

}  // namespace
}  // namespace ox::entries

using namespace ox;
using namespace ox::entries;

OX_RESULT OX_CALL oxrepCreateRepEnt(const char* manager, const char* title, const char* type, const char* logEntry,
                                    const char* period, const char* const* parameters, uint32_t count,
                                    const char* folder, const char** name) {
  OX_REP_START("oxrepCreateRepEnt", "%s,%s,%s,%s,%s,%x,%u,%s,%x", trace::text(manager), trace::text(title),
               trace::text(type), trace::text(logEntry), trace::text(period), trace::word(parameters), count,
               trace::text(folder), trace::word(name));
  return OX_REP_CALL("oxrepCreateRepEnt", [&] {
    return create(manager, {title, type, logEntry, period, parameters, count, folder}, name);
  });
}

#define NAMED(function, operate)                                               \
  OX_RESULT OX_CALL function(const char* manager, const char* name) {          \
    OX_REP_START(#function, "%s,%s", trace::text(manager), trace::text(name)); \
    return OX_REP_CALL(#function, [&] { return operate(manager, name); });     \
  }
NAMED(oxrepStartRepEnt, start)
NAMED(oxrepStopRepEnt, stop)
NAMED(oxrepCopySample, copy_sample_of)
NAMED(oxrepDeleteRepEnt, remove)
