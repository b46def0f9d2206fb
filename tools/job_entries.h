// Command entries: made, shown, armed, deleted; when they run, and how they ran.
#pragma once

#include <utility>

#include "tools/entries.h"
#include "tools/entry_line.h"
#include "tools/schedule_text.h"

namespace tool {

class Command;

extern const Family job_family;

struct JobCall : Call {
  const oxcZone* zone = nullptr;
};

struct NewJob {
  std::string command;
  std::vector<std::string> words;  // its arguments
  std::string name, schedule, start_time, interval, owner, closing, closing_argument;
  std::uint32_t mode = 2;
  bool disarmed = false;
  void add_to(Command& command);
};

// All return the exit code.
int create_job(const JobCall& call, const NewJob& wanted);
int list_jobs(const JobCall& call);
int show_job(const JobCall& call);
int arm_job(const JobCall& call, bool armed);
int delete_job(const JobCall& call);
int show_runs(const JobCall& call, const std::string& from, const std::string& to, std::uint32_t most);

// When an entry's work is due; a log entry's too ("logEnt:name").
[[nodiscard]] Timetable::Plan plan_of(const JobCall& call);

// The schedules of the entry named, or of all command and log entries that have one: "cmdEnt:night", and the text.
[[nodiscard]] std::vector<std::pair<std::string, std::string>> schedules(const JobCall& call);

}  // namespace tool
