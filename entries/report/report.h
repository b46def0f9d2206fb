// The records of report types and of reports. The fields of each stand in one table, in the order in which they are
// written.
#pragma once

#include <memory>

#include <oxbase/oxrep.h>

#include "common/memory.h"
#include "common/trace.h"
#include "entries/record.h"

namespace ox::entries {

inline constexpr char report_type_type[] = "repType";
inline constexpr char report_type[] = "repEnt";
inline constexpr std::uint32_t report_seconds = 20;  // the time-out of requests about reports

// Member, number of the attribute, keyword of the definition files.
#define OX_REPTYPE_FIELDS(ONE, LIST)  \
  ONE(version, 1, "version")          \
  ONE(rep_type, 2, "reptype")         \
  ONE(comp_name, 3, "compname")       \
  LIST(mib_names, 4, "mibname")       \
  ONE(index, 5, "index")              \
  LIST(parameters, 6, "parameter")    \
  ONE(key, 7, "key")                  \
  LIST(csv_data, 8, "csvdata")        \
  LIST(calc_data, 9, "calcdata")      \
  LIST(graph_data, 10, "graphdata")   \
  ONE(form_file, 11, "formfile")      \
  ONE(help_file, 12, "helpfile")      \
  ONE(help_topic, 13, "helptopic")    \
  ONE(description, 14, "description") \
  ONE(prefix, 15, "prefix")

// Member, number of the attribute.
#define OX_REPENT_FIELDS(ONE, LIST) \
  ONE(title, 1)                     \
  ONE(rep_type, 2)                  \
  ONE(log_entry, 3)                 \
  LIST(parameters, 5)               \
  ONE(period, 4)                    \
  ONE(folder, 6)                    \
  ONE(state, 7)                     \
  ONE(last_page, 8)

}  // namespace ox::entries

struct RepType {
  ox::entries::Text name;
#define ONE(member, number, keyword) ox::entries::Text member;
#define LIST(member, number, keyword) ox::entries::TextList member;
  OX_REPTYPE_FIELDS(ONE, LIST)
#undef ONE
#undef LIST
};

struct RepEnt {
  ox::entries::Text name;
#define ONE(member, number) ox::entries::Text member;
#define LIST(member, number) ox::entries::TextList member;
  OX_REPENT_FIELDS(ONE, LIST)
#undef ONE
#undef LIST
};

namespace ox::entries {

// The row of a value of that number is found by its bit.
inline constexpr Row report_type_rows[] = {row<offsetof(RepType, name), Text>(nullptr, 0, 0, "str_set"),
#define ONE(member, number, keyword) \
  row<offsetof(RepType, member), Text>("11.30." #number ".0", OX_DISPLAYSTRING, 1U << number, "str_set"),
#define LIST(member, number, keyword) \
  row<offsetof(RepType, member), TextList>("11.30." #number ".1", OX_DISPLAYSTRING, 1U << number, "str_set"),
                                           OX_REPTYPE_FIELDS(ONE, LIST)
#undef ONE
#undef LIST
};

inline constexpr Row report_rows[] = {row<offsetof(RepEnt, name), Text>(nullptr, 0, 0, "str_set"),
#define ONE(member, number) \
  row<offsetof(RepEnt, member), Text>("11.31." #number ".0", OX_DISPLAYSTRING, 1U << number, "str_set"),
#define LIST(member, number) \
  row<offsetof(RepEnt, member), TextList>("11.31." #number ".1", OX_DISPLAYSTRING, 1U << number, "str_set"),
                                      OX_REPENT_FIELDS(ONE, LIST)
#undef ONE
#undef LIST
};

struct ReportDelete {
  void operator()(RepType* type) const noexcept { (void)oxrepFreeRepType(type); }
  void operator()(RepEnt* report) const noexcept { (void)oxrepFreeRepEnt(report); }
};
using report_type_ptr = std::unique_ptr<RepType, ReportDelete>;
using report_ptr = std::unique_ptr<RepEnt, ReportDelete>;

// Writes one attribute. 0; 195, 59 for the name, 195 for a null path; 3; the errors of oxaSet.
[[nodiscard]] OX_RESULT write_text(const char* manager, const Component& component, const char* path, const char* text);

// Writes what a record has, each value in a request of its own.
[[nodiscard]] OX_RESULT write_each(const char* manager, const Component& component, const void* record, Table table);

// Reads one text. Empty for an answer without it, and where there is nothing. 0; 3; the errors of oxaGet.
[[nodiscard]] OX_RESULT read_one(const char* manager, const Component& component, const char* path, std::string& text);

}  // namespace ox::entries

// The lines of the family's calls.
#define OX_REP_START(name, format, ...) \
  OX_TRACE(::ox::trace::general, "<S:" name "(" format ")>\n" __VA_OPT__(, ) __VA_ARGS__)
#define OX_REP_CALL(name, ...) ::ox::traced_as(::ox::trace::general, "<E:" name "[%ld]>\n", __VA_ARGS__)
