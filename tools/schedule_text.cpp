#include "tools/schedule_text.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <utility>

#include "tools/diagnosis.h"

namespace tool {
namespace {

constexpr std::array<const char*, 7> weekdays = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                 "Thursday", "Friday", "Saturday"};
constexpr const char* field_names[] = {"the whole text", "times", "weekdays", "days of the month",
                                       "months",         "dates", "calendar"};

constexpr const char* doubt_texts[] = {
    "",
    "a range that ends where it begins, or before: nothing happens",
    "days that none of the months has",
    "\"-\" alone is midnight, no range; * is every time",
    "a range without end is the one instant where it begins; write 24:00:00, or future, as its end",
    "a range that ends at 0 is the one instant where it begins; midnight as an end is 24:00:00",
    "a date without its year is of the year in which it is read; write the year",
    "\"present\" as a beginning is no bound; write the date",
    "minutes or seconds over 59",
    "what stands behind an empty item is not read",
    "nothing happens any more: no moment is to come, and no range is open",
};

std::string time_of_day(const oxcZone* zone, std::uint32_t at) { return shown_time(zone, at).substr(11); }

// What a field refuses of a moment, in words.
std::string refusal_text(const oxcZone* zone, std::uint32_t field, std::uint32_t at) {
  oxcDate date{};
  (void)oxcZoneToDate(zone, at, &date);
  switch (field) {
    case OXCMD_TIMES:
      return "times: " + time_of_day(zone, at) + " is none of field 1";
    case OXCMD_WEEKDAYS:
      return "weekdays: it is a " + std::string(weekdays[static_cast<std::size_t>(date.weekday)]) + " (" +
             std::to_string(date.weekday) + "), which field 2 leaves out";
    case OXCMD_DAYS:
      return "days of the month: field 3 leaves out the " + std::to_string(date.day);
    case OXCMD_MONTHS:
      return "months: field 4 leaves out month " + std::to_string(date.month);
    case OXCMD_DATES:
      return "dates: " + shown_time(zone, at) + " is outside of field 5";
    default:
      return "calendar: an item of field 6 with \"~\" takes the time away";
  }
}

}  // namespace

Timetable::Timetable(Plan plan, const oxcZone* zone) : plan_(std::move(plan)), zone_(zone) {
  Schedule* schedule = nullptr;
  require(oxcmdStrToSchedule(plan_.schedule.c_str(), &schedule), "schedule \"" + plan_.schedule + '"');
  schedule_.reset(schedule);
}

// Inside a range that is open then, the next step of the interval from its beginning.
std::optional<Timetable::Moment> Timetable::inside_range(std::uint32_t after) const {
  std::uint32_t inside = 0;
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
  if (plan_.interval == 0 || oxcmdScheduleInside(schedule_.get(), zone_, after, &inside, &begin, &end) != OX_OK) {
    return {};
  }
  begin = std::max(begin, plan_.start);
  if (inside == 0 || after < begin) return {};
  const std::uint64_t due = begin + (std::uint64_t{after - begin} / plan_.interval + 1) * plan_.interval;
  if (due >= end) return {};
  return Moment{static_cast<std::uint32_t>(due), 0};
}

std::optional<Timetable::Moment> Timetable::scheduled(std::uint32_t after) const {
  Moment moment;
  if (plan_.start > 0) after = std::max(after, plan_.start - 1);
  const bool any = oxcmdScheduleNext(schedule_.get(), zone_, after, &moment.time, &moment.kinds) == OX_OK;
  const auto repeated = inside_range(after);
  if (repeated && (!any || repeated->time < moment.time)) return repeated;
  return any ? std::optional(moment) : std::nullopt;
}

std::optional<Timetable::Moment> Timetable::next(std::uint32_t after) const {
  if (schedule_ != nullptr) return scheduled(after);
  if (after < plan_.start) return Moment{plan_.start, 0};
  if (plan_.interval == 0) return {};
  const std::uint64_t steps = std::uint64_t{after - plan_.start} / plan_.interval + 1;
  const std::uint64_t due = plan_.start + steps * plan_.interval;
  return due <= UINT32_MAX ? std::optional(Moment{static_cast<std::uint32_t>(due), 0}) : std::nullopt;
}

std::optional<Timetable::Moment> Timetable::previous(std::uint32_t before) const {
  if (schedule_ != nullptr) {
    Moment moment;
    const bool any = oxcmdSchedulePrev(schedule_.get(), zone_, before, &moment.time, &moment.kinds) == OX_OK;
    return any && moment.time >= plan_.start ? std::optional(moment) : std::nullopt;
  }
  if (before <= plan_.start) return {};
  const std::uint32_t step = plan_.interval == 0 ? 0 : (before - 1 - plan_.start) / plan_.interval * plan_.interval;
  return Moment{plan_.start + step, 0};
}

std::vector<std::string> Timetable::schedule_reasons(std::uint32_t at) const {
  std::vector<std::string> lines;
  std::uint32_t inside = 0;
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
  std::uint32_t fields = 0;
  require(oxcmdScheduleInside(schedule_.get(), zone_, at, &inside, &begin, &end), "schedule");
  require(oxcmdScheduleRefusal(schedule_.get(), zone_, at, &fields), "schedule");
  if (inside != 0) {
    const std::string from = begin == 0 ? "the beginning" : shown_time(zone_, begin);
    lines.push_back("yes: a range is open, from " + from + " to " +
                    (end == UINT32_MAX ? "no end" : shown_time(zone_, end)));
  } else if (fields == 0) {
    lines.push_back("yes: an instant of the schedule");
  }
  for (std::uint32_t field = OXCMD_TIMES; field <= OXCMD_CALENDER; field <<= 1) {
    if ((fields & field) != 0) lines.push_back("no: " + refusal_text(zone_, field, at));
  }
  return lines;
}

std::vector<std::string> Timetable::reasons(std::uint32_t at) const {
  std::vector<std::string> lines;
  if (!plan_.armed) lines.emplace_back("no: the entry is not armed (oxjob start)");
  if (at < plan_.start) lines.push_back("no: nothing happens before " + shown_time(zone_, plan_.start));
  if (schedule_ != nullptr) {
    for (std::string& line : schedule_reasons(at)) lines.push_back(std::move(line));
  } else if (at >= plan_.start) {
    const bool due = at == plan_.start || (plan_.interval != 0 && (at - plan_.start) % plan_.interval == 0);
    const std::string from = " from " + shown_time(zone_, plan_.start) + " on";
    lines.push_back(due                   ? "yes: due by start time and interval"
                    : plan_.interval == 0 ? "no: without schedule and interval it is due once, at " + from.substr(6)
                                          : "no: it is due every " + shown_duration(plan_.interval) + from);
  }
  if (const auto before = previous(at)) {
    lines.push_back("before: " + shown_time(zone_, before->time) + ' ' + kinds_text(before->kinds));
  }
  if (const auto after = next(at)) {
    lines.push_back("after: " + shown_time(zone_, after->time) + ' ' + kinds_text(after->kinds));
  } else {
    lines.emplace_back("after: never");
  }
  return lines;
}

std::string kinds_text(std::uint32_t kinds) {
  if (kinds == 0) return "runs";
  std::string text;
  for (const auto& [kind, word] :
       {std::pair{OXCMD_INSTANT, "runs"}, {OXCMD_CLOSES, "closes"}, {OXCMD_OPENS, "opens"}}) {
    if ((kinds & kind) != 0) text += (text.empty() ? "" : " and ") + std::string(word);
  }
  return text;
}

namespace {

void OX_CALL note(void* argument, uint32_t doubt, uint32_t field, const char* item) {
  auto& lines = *static_cast<std::vector<std::string>*>(argument);
  const char* text = doubt < std::size(doubt_texts) ? doubt_texts[doubt] : "doubtful";
  const std::string where = field == 0 ? "" : "field " + std::to_string(field) + " (" + field_names[field] + "), ";
  lines.push_back(where + '"' + item + "\": " + text);
}

}  // namespace

std::vector<std::string> schedule_doubts(const std::string& text, const oxcZone* zone, std::uint32_t now) {
  std::vector<std::string> lines;
  std::uint32_t field = 0;
  const OX_RESULT result = oxcmdScheduleCheck(text.c_str(), zone, now, note, &lines, &field);
  const std::string where = field != 0 ? " field " + std::to_string(field) + " (" + field_names[field] + ")" : "";
  require(result, "schedule \"" + text + '"' + where);
  return lines;
}

}  // namespace tool
