// What a schedule text says in silence.
#include <array>
#include <string>

#include <oxbase/oxcmd.h>

#include "common/memory.h"
#include "common/trace.h"
#include "entries/schedule_meaning.h"
#include "entries/schedule_text.h"

namespace ox {
namespace {

// The doubts of one field. What it is given has been read without an error.
class Doubts {
 public:
  Doubts(oxcmdDoubtFn call, void* argument) noexcept : call_(call), argument_(argument) {}

  void in_field(std::uint32_t field) noexcept { field_ = field; }
  void tell(oxcmdDoubt doubt, std::string_view item) const {
    call_(argument_, doubt, field_, std::string(item).c_str());
  }

  // The rest of a list, behind the empty item that ended it.
  void tell_rest(std::string_view rest) const {
    if (!rest.empty()) tell(OXCMD_IGNORED, rest);
  }

 private:
  oxcmdDoubtFn call_;
  void* argument_;
  std::uint32_t field_ = 0;
};

template <class Look>
void each_item(const char* text, char separator, const Doubts& doubts, Look look) {
  std::string_view rest = items_of(text);
  for (std::string_view item; take_item(rest, separator, item);) look(item);
  doubts.tell_rest(rest);
}

// ---- Times and dates ----

using ReadBound = OX_RESULT(OX_CALL*)(const char* text, std::uint32_t* seconds);

std::uint32_t bound(std::string_view text, ReadBound read) {
  std::uint32_t seconds = 0;
  if (!text.empty()) (void)read(std::string(text).c_str(), &seconds);
  return seconds;
}

void look_at_range(std::string_view item, ReadBound read, const Doubts& doubts) {
  std::string_view from;
  std::string_view to;
  if (!split_range(item, from, to)) return;
  const std::uint32_t start = bound(from, read);
  const std::uint32_t end = bound(to, read);
  if (from.empty() && to.empty()) {
    doubts.tell(OXCMD_NOBOUND, item);
  } else if (to.empty()) {
    doubts.tell(OXCMD_NOEND, item);
  } else if (end == 0) {
    doubts.tell(OXCMD_ZEROEND, item);
  } else if (end <= start) {
    doubts.tell(OXCMD_REVERSED, item);
  }
}

// "12:75:00": the second or third number is over 59.
bool overflows(std::string_view time) {
  const std::size_t colon = time.find(':');
  if (colon == std::string_view::npos) return false;
  std::uint32_t seconds = 0;
  (void)oxcmdStrToTime(("0" + std::string(time.substr(colon))).c_str(), &seconds);
  return seconds >= 3600 || bound("0:0" + std::string(time.substr(time.rfind(':'))), oxcmdStrToTime) >= 60;
}

void look_at_times(const char* text, const Doubts& doubts) {
  each_item(text, ',', doubts, [&](std::string_view item) {
    std::string_view from = item;
    std::string_view to;
    (void)split_range(item, from, to);
    if (overflows(from) || overflows(to)) doubts.tell(OXCMD_OVERFLOW, item);
    look_at_range(item, oxcmdStrToTime, doubts);
  });
}

bool has_no_year(std::string_view date) {
  if (date.empty() || date == "past" || date == "present" || date == "future") return false;
  return std::count(date.begin(), date.end(), '/') < 2;
}

void look_at_dates(const char* text, const Doubts& doubts) {
  each_item(text, ',', doubts, [&](std::string_view item) {
    std::string_view from = item;
    std::string_view to;
    (void)split_range(item, from, to);
    if (from == "present") doubts.tell(OXCMD_PRESENT, item);
    if (has_no_year(from) || has_no_year(to)) doubts.tell(OXCMD_NOYEAR, item);
    look_at_range(item, oxcStrToUxTime, doubts);
  });
}

// ---- Days ----

void look_at_numbers(const char* text, const Doubts& doubts) {
  each_item(text, ',', doubts, [&](std::string_view item) {
    std::string_view from;
    std::string_view to;
    std::int32_t first = 0;
    std::int32_t last = 0;
    if (!split_range(item, from, to)) return;
    (void)oxcStrToLong(std::string(from).c_str(), 0, &first);
    (void)oxcStrToLong(std::string(to).c_str(), 0, &last);
    if (first > last) doubts.tell(OXCMD_REVERSED, item);
  });
}

// Days that at least one of the months has, in a leap year.
std::uint32_t days_of_months(std::uint16_t months) noexcept {
  constexpr std::array<unsigned char, 12> lengths{31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  std::uint32_t days = 0;
  for (unsigned month = 0; month < lengths.size(); ++month) {
    if (months == 0 || (months >> month & 1) != 0) days |= UINT32_MAX >> (32 - lengths[month]);
  }
  return days;
}

void look_at_days(const char* text, std::uint32_t days, std::uint16_t months, const Doubts& doubts) {
  look_at_numbers(text, doubts);
  if ((days & ~days_of_months(months)) != 0) doubts.tell(OXCMD_NODAY, text);
}

void look_at_calender(const char* text, const oxcmdCalender* read, const Doubts& doubts) {
  each_item(text, '|', doubts, [&](std::string_view item) {
    std::string copy(item);
    char* parts[calender_parts] = {};
    std::uint32_t count = 0;
    (void)oxcToken(copy.data(), "/", parts, calender_parts, &count);
    look_at_numbers(parts[1], doubts);
    look_at_days(parts[2], read->days, read->months, doubts);
    look_at_numbers(parts[3], doubts);
    look_at_times(parts[4], doubts);
    if (parts[5] != nullptr) doubts.tell(OXCMD_IGNORED, parts[5]);
    read = read->next;
  });
}

void look_at_fields(char* const (&fields)[schedule_fields], const Schedule& schedule, Doubts& doubts) {
  doubts.in_field(1);
  look_at_times(fields[0], doubts);
  doubts.in_field(2);
  look_at_numbers(fields[1], doubts);
  doubts.in_field(3);
  look_at_days(fields[2], schedule.days, schedule.months, doubts);
  doubts.in_field(4);
  look_at_numbers(fields[3], doubts);
  doubts.in_field(5);
  look_at_dates(fields[4], doubts);
  doubts.in_field(6);
  look_at_calender(fields[5], schedule.calender, doubts);
}

bool happens(const Schedule& schedule, const oxcZone& zone, std::uint32_t now) noexcept {
  const ScheduleMeaning meaning(schedule, zone.table);
  std::int64_t found = 0;
  return meaning.inside(now) || meaning.next(OXCMD_INSTANT | OXCMD_OPENS, now, found);
}

OX_RESULT check(const char* text, const oxcZone& zone, std::uint32_t now, Doubts doubts, std::uint32_t* field) {
  OwnedSchedule schedule;
  std::uint32_t failed = 0;
  const OX_RESULT result = read_schedule(text, schedule, failed);
  if (result != OX_OK) {
    if (field != nullptr) *field = failed;
    return result;
  }
  if (!schedule) return OX_OK;
  const auto copy = copy_text(text, "CmdMakeSchedule_000");
  if (!copy) return OX_ENOMEM;
  char* fields[schedule_fields] = {};
  std::uint32_t count = 0;
  (void)oxcToken(copy.get(), nullptr, fields, schedule_fields, &count);
  look_at_fields(fields, *schedule, doubts);
  doubts.in_field(0);
  if (!happens(*schedule, zone, now)) doubts.tell(OXCMD_NEVER, text);
  return OX_OK;
}

}  // namespace
}  // namespace ox

using namespace ox;

OX_RESULT OX_CALL oxcmdScheduleCheck(const char* text, const oxcZone* zone, uint32_t now, oxcmdDoubtFn doubt,
                                     void* argument, uint32_t* field) {
  OX_ENTRY("oxcmdScheduleCheck", ":%s:%x:%u", trace::text(text), trace::word(zone), now);
  return traced("oxcmdScheduleCheck", [&]() -> OX_RESULT {
    if (text == nullptr || zone == nullptr || doubt == nullptr) return OX_EARG;
    return check(text, *zone, now, {doubt, argument}, field);
  });
}
