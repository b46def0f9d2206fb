// The command entry's record. Its fields stand in one table; accessors, release, copies, reading and writing are made
// from the rows.
#pragma once

#include <memory>

#include <oxbase/oxcmd.h>

#include "common/trace.h"
#include "entries/record.h"

namespace ox::entries {

inline constexpr char command_type[] = "cmdEnt";

// Kind, stem of the accessors, member; of those that the manager has, AMIB path and value type.
#define OX_CMDENTRY_FIELDS(OWN, ATTRIBUTE)                                          \
  OWN(Number, Error, error)                                                         \
  OWN(Text, CmdEntryName, entry_name)                                               \
  ATTRIBUTE(Text, CmdName, cmd_name, "11.23.1.0", OX_DISPLAYSTRING)                 \
  ATTRIBUTE(Text, Argument, argument, "11.23.2.0", OX_DISPLAYSTRING)                \
  OWN(Number, NextStartTime, next_start_time)                                       \
  ATTRIBUTE(Number, StartTime, start_time, "11.23.3.0", OX_UNIXTIME)                \
  ATTRIBUTE(Number, Interval, interval, "11.23.4.0", OX_INTEGER)                    \
  ATTRIBUTE(Number, AdminStatus, admin_status, "11.23.5.0", OX_INTEGER)             \
  ATTRIBUTE(Number, OperStatus, oper_status, "11.23.6.0", OX_INTEGER)               \
  OWN(Number, AttributeChange, attribute_change)                                    \
  ATTRIBUTE(Number, ID, id, "11.23.7.0", OX_INTEGER)                                \
  OWN(Number, Process, process)                                                     \
  ATTRIBUTE(Number, Mode, mode, "11.23.8.0", OX_INTEGER)                            \
  ATTRIBUTE(Text, Owner, owner, "11.23.9.0", OX_DISPLAYSTRING)                      \
  ATTRIBUTE(Text, Schedule, schedule, "11.23.10.0", OX_DISPLAYSTRING)               \
  ATTRIBUTE(Text, InvalidCmdName, invalid_cmd_name, "11.23.11.0", OX_DISPLAYSTRING) \
  ATTRIBUTE(Text, InvalidCmdArg, invalid_cmd_arg, "11.23.12.0", OX_DISPLAYSTRING)

}  // namespace ox::entries

struct cmdEntry {
  cmdEntry* next;
  cmdEntry* prev;
#define OWN(kind, Stem, member) ox::entries::kind member;
#define ATTRIBUTE(kind, Stem, member, path, type) ox::entries::kind member;
  OX_CMDENTRY_FIELDS(OWN, ATTRIBUTE)
#undef OWN
#undef ATTRIBUTE
};
static_assert(std::is_standard_layout_v<cmdEntry> && offsetof(cmdEntry, prev) == sizeof(void*));

namespace ox::entries {

inline constexpr Row command_rows[] = {
#define OWN(kind, Stem, member) row<offsetof(cmdEntry, member), kind>(nullptr, 0, 0, #Stem),
#define ATTRIBUTE(kind, Stem, member, path, type) row<offsetof(cmdEntry, member), kind>(path, type, 0, #Stem),
    OX_CMDENTRY_FIELDS(OWN, ATTRIBUTE)
#undef OWN
#undef ATTRIBUTE
};

// A record and the rest of its list.
struct CommandDelete {
  void operator()(cmdEntry* list) const noexcept { (void)oxcmdEntryFree(list); }
};
using command_ptr = std::unique_ptr<cmdEntry, CommandDelete>;

// A copy on no list. 0; 3.
[[nodiscard]] OX_RESULT copy_command(const cmdEntry& from, command_ptr& copy) noexcept;

// Writes what the record has, in one set. 0; 1 for a record without a name; 59 for an empty one; 3; the errors of
// oxaSet.
[[nodiscard]] OX_RESULT write_command(const char* manager, const cmdEntry& record);

}  // namespace ox::entries

// The lines of the family's calls.
#define OX_CMD_START(name, format, ...) \
  OX_TRACE(::ox::trace::log_entries, "<S:" name "(" format ")>\n" __VA_OPT__(, ) __VA_ARGS__)
#define OX_CMD_CALL(name, ...) ::ox::traced_as(::ox::trace::log_entries, "<E:" name "[%lu]>\n", __VA_ARGS__)
