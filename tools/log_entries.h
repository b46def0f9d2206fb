// Log entries: made, shown, started, stopped, deleted.
#pragma once

#include "tools/entries.h"

namespace tool {

extern const Family log_family;

struct NewLogEntry {
  std::string component;
  std::vector<std::string> names;
  std::string title, interval, rotate, expire, schedule, start_time;
  bool outside_schedule = false;
  bool start = false;
  bool force = false;
  void add_to(CLI::App& command);
};

struct LogCall {
  const char* manager = nullptr;
  std::string name;
  Form form = Form::table;
};

// Makes an entry; the call with its name. Throws Failure, Usage.
[[nodiscard]] LogCall make_log_entry(const LogCall& call, const NewLogEntry& wanted);

// All return the exit code.
int create_log_entry(const LogCall& call, const NewLogEntry& wanted);
int list_log_entries(const LogCall& call);
int show_log_entry(const LogCall& call);
int copy_log_entry(const LogCall& call);
int delete_log_entry(const LogCall& call, bool yes);

// Tells what the collection takes, and starts it. What cannot fit is refused without `force`.
int start_log_entry(const LogCall& call, bool force);
int stop_log_entry(const LogCall& call);
int show_fit(const LogCall& call);

// Its data entries, oldest first.
struct DataEntryRow {
  std::string name;
  std::uint32_t from = 0, to = 0, status = 0, bytes = 0;
};
[[nodiscard]] std::vector<DataEntryRow> data_entries(const LogCall& call);

// Bytes as "1.2 MB".
[[nodiscard]] std::string shown_bytes(std::uint64_t bytes);

}  // namespace tool
