#include "report/report_entry.h"

#include <filesystem>

#include "tools/diagnosis.h"

namespace report {
namespace {

constexpr tool::Field report_fields[] = {
    {"11.31.1.0", "TITLE", "title", tool::Kind::text, true},
    {"11.31.7.0", "STATE", "state", tool::Kind::text, true},
    {"11.31.2.0", "TYPE", "type", tool::Kind::text, true},
    {"11.31.3.0", "LOG ENTRY", "logEntry", tool::Kind::text, true},
    {"11.31.4.0", "PERIOD", "period", tool::Kind::text, true},
    {"11.31.8.0", "LAST PAGE", "lastPage", tool::Kind::text, true},
    {"11.31.6.0", "FOLDER", "folder"},
};

constexpr tool::Field type_fields[] = {
    {"11.30.1.0", "VERSION", "version", tool::Kind::text, true},
    {"11.30.14.0", "DESCRIPTION", "description", tool::Kind::text, true},
};

}  // namespace

const tool::Family report_family = {"repEnt", "11.31.{1,2,3,4,6,7,8}.0", "", report_fields, "oxreport list"};
const tool::Family type_family = {"repType", "11.30.{1,2,14}.0", "", type_fields, "oxreport types"};

Report read_report(const char* manager, const std::string& name) {
  const std::string bare = tool::bare_name(report_family, name);
  (void)tool::entry(manager, report_family, bare);  // one that is not there is told with the next step
  RepEnt* record = nullptr;
  tool::require(oxrepGetRepEnt(manager, bare.c_str(), &record), "repEnt:" + bare);
  const tool::Owner<RepEnt, oxrepFreeRepEnt> owner(record);
  const auto text = [record](std::uint32_t number, std::uint32_t at = 0) {
    const char* const value = oxrepRepEntValue(record, number, at);
    return std::string(value != nullptr ? value : "");
  };
  Report made{
      bare, text(OXREP_ENTRY_TITLE),  text(OXREP_ENTRY_TYPE),  text(OXREP_ENTRY_LOGENTRY), text(OXREP_ENTRY_PERIOD),
      {},   text(OXREP_ENTRY_FOLDER), text(OXREP_ENTRY_STATE), text(OXREP_ENTRY_LASTPAGE)};
  for (std::uint32_t i = 0; i < oxrepRepEntCount(record, OXREP_ENTRY_PARAMETERS); ++i) {
    made.parameters.push_back(text(OXREP_ENTRY_PARAMETERS, i));
  }
  return made;
}

std::vector<Line> read_type(const char* manager, const std::string& name) {
  const std::string bare = tool::bare_name(type_family, name);
  RepType* type = nullptr;
  const OX_RESULT result = oxrepGetRepType(manager, bare.c_str(), &type);
  if (result == OX_ENOCOMP) {
    throw tool::Explained("repType:" + bare, result, {"the manager has no report type of that name", "oxreport types"});
  }
  tool::require(result, "repType:" + bare);
  const tool::Owner<RepType, oxrepFreeRepType> owner(type);
  std::vector<Line> lines = lines_of(*type);
  lines.push_back({OXREP_TYPE_NAME, bare, 0});
  return lines;
}

Definition definition_of(const char* manager, const std::string& type) {
  std::vector<FaultLine> faults;
  Definition made = define(read_type(manager, type), faults);
  if (faults.empty()) return made;
  throw std::runtime_error("repType:" + type + ": " + faults.front().text +
                           "\n  next: oxreport check its file in public/reptype, then oxreport types --update");
}

std::string folder_of(const Report& report) {
  namespace fs = std::filesystem;
  const fs::path folder(report.folder.empty() ? report.name : report.folder);
  if (folder.has_root_directory()) return folder.string();
  bool leads_out = folder.has_root_name();
  for (const fs::path& one : folder) leads_out = leads_out || one == "..";
  if (leads_out) {
    throw std::runtime_error(report.component() + ": folder " + report.folder +
                             " leads out of the folder of reports; next: name one inside it, or an absolute one");
  }
  return (fs::path(oxcGetWorkdir()) / "data" / "report" / folder).string();
}

}  // namespace report
