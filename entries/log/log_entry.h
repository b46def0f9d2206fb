// The log entry's record. Its fields stand in one table, in the order of the record, which is that of a set, too.
#pragma once

#include <memory>

#include <oxbase/oxl.h>

#include "common/trace.h"
#include "entries/record.h"

namespace ox::entries {

inline constexpr char log_type[] = "logEnt";
inline constexpr std::uint32_t log_seconds = 20;  // the time-out of requests about log entries

// Kind, member; of attributes, stem of the accessors, AMIB path, and of those that are written, value type and bit of
// the change mask.
#define OX_LOGENTRY_FIELDS(OWN, READ, WRITTEN)                                     \
  OWN(Number, changes)                                                             \
  OWN(Text, manager)                                                               \
  OWN(Text, entry_name)                                                            \
  WRITTEN(Text, Title, title, "11.14.1.0", OX_DISPLAYSTRING, 0x001)                \
  READ(Text, Key, key, "11.14.2.0")                                                \
  READ(Number, ID, id, "11.14.3.0")                                                \
  WRITTEN(Text, CompName, comp_name, "11.14.4.0", OX_DISPLAYSTRING, 0x002)         \
  WRITTEN(Text, AmibName, amib_name, "11.14.5.0", OX_DISPLAYSTRING, 0x004)         \
  WRITTEN(Number, StartTime, start_time, "11.14.6.0", OX_UNIXTIME, 0x008)          \
  READ(Number, LastCollectTime, last_collect_time, "11.14.12.0")                   \
  WRITTEN(Text, Interval, interval, "11.14.7.0", OX_DISPLAYSTRING, 0x010)          \
  WRITTEN(Text, RotatePeriod, rotate_period, "11.14.8.0", OX_DISPLAYSTRING, 0x020) \
  WRITTEN(Text, ExpirePeriod, expire_period, "11.14.9.0", OX_DISPLAYSTRING, 0x040) \
  WRITTEN(Number, Status, status, "11.14.10.0", OX_INTEGER, 0x080)                 \
  READ(Text, ActiveDataEntry, active_data_entry, "11.14.11.0")                     \
  READ(Number, LastDentID, last_dent_id, "11.14.13.0")                             \
  OWN(Number, lock)                                                                \
  READ(Number, Attr15, attr15, "11.14.15.0")                                       \
  WRITTEN(Text, Schedule, schedule, "11.14.16.0", OX_DISPLAYSTRING, 0x200)         \
  WRITTEN(Number, ScheduleType, schedule_type, "11.14.17.0", OX_INTEGER, 0x800)

inline constexpr char log_reload_path[] = "11.14.14.0";  // a 1 has the manager plan the collection anew
inline constexpr std::uint32_t log_reload_changes = 0x21E;

// Run states.
inline constexpr std::uint32_t log_running = 2;
inline constexpr std::uint32_t log_stopped = 3;
inline constexpr std::uint32_t log_not_startable = 4;

}  // namespace ox::entries

// Opened, it has the component's lock, unless that is 0.
struct LogEntry {
#define OWN(kind, member) ox::entries::kind member;
#define READ(kind, Stem, member, path) ox::entries::kind member;
#define WRITTEN(kind, Stem, member, path, type, change) ox::entries::kind member;
  OX_LOGENTRY_FIELDS(OWN, READ, WRITTEN)
#undef OWN
#undef READ
#undef WRITTEN
};
static_assert(std::is_standard_layout_v<LogEntry>);

namespace ox::entries {

inline constexpr Row log_rows[] = {
#define OWN(kind, member) row<offsetof(LogEntry, member), kind>(nullptr, 0, 0, "str_set"),
#define READ(kind, Stem, member, path) row<offsetof(LogEntry, member), kind>(path, 0, 0, "str_set"),
#define WRITTEN(kind, Stem, member, path, type, change) \
  row<offsetof(LogEntry, member), kind>(path, type, change, "str_set"),
    OX_LOGENTRY_FIELDS(OWN, READ, WRITTEN)
#undef OWN
#undef READ
#undef WRITTEN
};

struct LogDelete {
  void operator()(LogEntry* record) const noexcept { (void)oxlFreeLogEntry(record); }
};
using log_ptr = std::unique_ptr<LogEntry, LogDelete>;

// A record without values but its name. 0; 3.
[[nodiscard]] OX_RESULT make_log_entry(const char* name, const char* tag, log_ptr& made) noexcept;

}  // namespace ox::entries

// The lines of the family's calls.
#define OX_LOG_START(name, format, ...) \
  OX_TRACE(::ox::trace::general, "<S:" name "(" format ")>\n" __VA_OPT__(, ) __VA_ARGS__)
#define OX_LOG_CALL(name, ...) ::ox::traced_as(::ox::trace::general, "<E:" name "[%ld]>\n", __VA_ARGS__)
