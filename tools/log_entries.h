// Log entries: made, shown, started, stopped, deleted.
#pragma once

#include "tools/entries.h"
#include "tools/entry_line.h"

namespace tool {

class Command;

extern const Family log_family;

struct NewLogEntry {
  std::string component;
  std::vector<std::string> names;
  std::string title, interval, rotate, expire, schedule, start_time;
  bool outside_schedule = false;
  bool start = false;
  bool force = false;
  void add_to(Command& command);
};

// Makes an entry; the call with its name. Throws Failure, Usage.
[[nodiscard]] Call make_log_entry(const Call& call, const NewLogEntry& wanted);

// All return the exit code.
int create_log_entry(const Call& call, const NewLogEntry& wanted);
int list_log_entries(const Call& call);
int show_log_entry(const Call& call);
int copy_log_entry(const Call& call);
int delete_log_entry(const Call& call, bool yes);

// Tells what the collection takes, and starts it. What cannot fit is refused without `force`.
int start_log_entry(const Call& call, bool force);
int stop_log_entry(const Call& call);
int show_fit(const Call& call);

// Its data entries, oldest first.
struct DataEntryRow {
  std::string name;
  std::uint32_t from = 0, to = 0, status = 0, bytes = 0;
};
[[nodiscard]] std::vector<DataEntryRow> data_entries(const Call& call);

// Bytes as "1.2 MB".
[[nodiscard]] std::string shown_bytes(std::uint64_t bytes);

}  // namespace tool
