// The data entry's record: what is known of a period's collected values, not the values.
#pragma once

#include <memory>

#include <oxbase/oxl.h>

#include "common/trace.h"
#include "entries/record.h"

namespace ox::entries {

inline constexpr char data_type[] = "dataEnt";
inline constexpr char data_owner_type[] = "logEnt";  // a log entry's data entries are related to it
inline constexpr char data_relation[] = "logEnt-dataEnt";
inline constexpr std::uint32_t data_seconds = 20;  // the time-out of requests about data entries

inline constexpr char data_id_path[] = "11.15.3.0";
inline constexpr char data_status_path[] = "11.15.8.0";

// Statuses.
inline constexpr std::uint32_t data_collecting = 1;
inline constexpr std::uint32_t data_busy = 2;
inline constexpr std::uint32_t data_closed = 3;

inline constexpr std::uint32_t open_period_end = 2145916800;  // while the entry is being filled

// Kind, stem of the getter, member, AMIB path. The texts of title and period are made from theirs.
#define OX_DATAENTRY_FIELDS(MADE, READ)                 \
  MADE(Text, Title, title, "11.15.1.0")                 \
  READ(Text, LogEntryKey, log_entry_key, "11.15.2.0")   \
  READ(Number, ID, id, "11.15.3.0")                     \
  READ(Number, StartTime, start_time, "11.15.4.0")      \
  READ(Text, CompName, comp_name, "11.15.5.0")          \
  READ(Text, AmibName, amib_name, "11.15.6.0")          \
  READ(Text, Interval, interval, "11.15.7.0")           \
  READ(Number, Status, status, "11.15.8.0")             \
  READ(Text, LocalTime, local_time, "11.15.9.0")        \
  READ(Number, PeriodStart, period_start, "11.15.11.0") \
  READ(Number, PeriodEnd, period_end, "11.15.12.0")     \
  MADE(Text, Period, period, "11.15.10.0")              \
  READ(Number, DataSize, data_size, "11.15.13.0")

}  // namespace ox::entries

struct DataEntry {
  ox::entries::Text name;
#define FIELD(kind, Stem, member, path) ox::entries::kind member;
  OX_DATAENTRY_FIELDS(FIELD, FIELD)
#undef FIELD
};
static_assert(std::is_standard_layout_v<DataEntry>);

namespace ox::entries {

inline constexpr Row data_rows[] = {row<offsetof(DataEntry, name), Text>(nullptr, 0, 0, "str_set"),
#define FIELD(kind, Stem, member, path) row<offsetof(DataEntry, member), kind>(path, 0, 0, "str_set"),
                                    OX_DATAENTRY_FIELDS(FIELD, FIELD)
#undef FIELD
};

struct DataDelete {
  void operator()(DataEntry* record) const noexcept { (void)oxlFreeDataEntry(record); }
};
using data_entry_ptr = std::unique_ptr<DataEntry, DataDelete>;

// The period as people read it. 0; 195 for a period that is none; 70 for a time that the platform
// cannot show.
[[nodiscard]] OX_RESULT make_period_text(const DataEntry& record, std::string& text);

}  // namespace ox::entries

// The lines of the family's calls.
#define OX_DATA_START(name, format, ...) \
  OX_TRACE(::ox::trace::general, "<S:" name "(" format ")>\n" __VA_OPT__(, ) __VA_ARGS__)
#define OX_DATA_CALL(name, ...) ::ox::traced_as(::ox::trace::general, "<E:" name "[%ld]>\n", __VA_ARGS__)
