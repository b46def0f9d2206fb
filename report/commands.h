// What oxreport does with reports and their types.
#pragma once

#include <string>
#include <vector>

#include "report/report_entry.h"
#include "tools/log_entries.h"

namespace CLI {
class App;
}  // namespace CLI

namespace report {

struct NewReport {
  std::string type;
  std::string log;  // an entry that is there; empty: one of its own
  std::string period, folder;
  std::vector<std::string> parameters;  // "NAME=NUMBER"
  tool::NewLogEntry collected;          // of the one of its own; its title is the report's
  bool start = false;
  bool force = false;
  void add_to(tool::Command& command);
};

using tool::Call;

// Registers the types of the installation's files that are new, and makes the job that makes the pages. What is wrong
// with a file is told, and keeps nothing else from being done.
void register_types();

// All return the exit code.
int create_report(const Call& call, const NewReport& wanted);
int list_reports(const Call& call);
int start_report(const Call& call, bool force);
int stop_report(const Call& call);
int delete_report(const Call& call);
// Without a name all reports: those with something new.
int run_reports(const Call& call);
int open_page(const Call& call);
int list_types(const Call& call);
// Replaces registered types whose file has another version.
int update_types(const Call& call);
int check_file(const std::string& file);

}  // namespace report
