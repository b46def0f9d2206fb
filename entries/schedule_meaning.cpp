#include "entries/schedule_meaning.h"

#include <algorithm>
#include <chrono>
#include <limits>

namespace ox {
namespace {

constexpr std::int64_t day_seconds = 86'400;
constexpr std::int64_t end_of_time = std::int64_t{std::numeric_limits<std::uint32_t>::max()} + 1;
constexpr oxcmdSchTime whole_day{nullptr, nullptr, 0, day_seconds, 0};

constexpr std::int64_t floor_div(std::int64_t a, std::int64_t b) noexcept { return a / b - (a % b < 0 ? 1 : 0); }

// A field without times is the whole day.
const oxcmdSchTime* or_whole(const oxcmdSchTime* times) noexcept { return times != nullptr ? times : &whole_day; }

bool is_instant(const oxcmdSchTime& time) noexcept { return time.end == 0; }

bool has_instant(const oxcmdSchTime* times) noexcept {
  while (times != nullptr && !is_instant(*times)) times = times->next;
  return times != nullptr;
}

std::uint32_t flag_if(bool condition, std::uint32_t flag) noexcept { return condition ? flag : 0; }

// A mask of 0 restricts nothing.
bool allows(std::uint32_t mask, std::uint32_t bit) noexcept { return mask == 0 || (mask >> bit & 1) != 0; }

}  // namespace

ScheduleMeaning::Day::Day(std::int64_t number) noexcept : midnight(number * day_seconds) {
  using namespace std::chrono;
  const sys_days date{days(number)};
  const year_month_day calendar(date);
  year = static_cast<std::uint32_t>(int(calendar.year()));
  month = unsigned(calendar.month());
  day = unsigned(calendar.day());
  weekday = std::chrono::weekday(date).c_encoding();
}

ScheduleMeaning::ScheduleMeaning(const Schedule& schedule, const ZoneTable& zone) noexcept
    : schedule_(schedule), zone_(zone) {
  reach(schedule.times);
  for (const oxcmdCalender* item = schedule.calender; item != nullptr; item = item->next) reach(item->times);
}

void ScheduleMeaning::reach(const oxcmdSchTime* times) noexcept {
  for (; times != nullptr; times = times->next) {
    std::int64_t& longest = is_instant(*times) ? longest_instant_ : longest_range_;
    longest = std::max<std::int64_t>({longest, times->start, times->end});
  }
}

std::int64_t ScheduleMeaning::longest() const noexcept { return std::max(longest_range_, longest_instant_); }

std::int64_t ScheduleMeaning::number_of_day(std::int64_t time) const noexcept {
  return floor_div(zone_.wall(time), day_seconds);
}

std::uint32_t ScheduleMeaning::refused_by_fields(const Schedule& schedule, const Day& day) noexcept {
  return flag_if(!allows(schedule.weekdays, day.weekday), OXCMD_WEEKDAYS) |
         flag_if(!allows(schedule.days, day.day - 1), OXCMD_DAYS) |
         flag_if(!allows(schedule.months, day.month - 1), OXCMD_MONTHS);
}

bool ScheduleMeaning::names(const oxcmdCalender& item, const Day& day) noexcept {
  return (item.year == 0 || item.year == day.year) && allows(item.months, day.month - 1) &&
         allows(item.days, day.day - 1) && allows(item.weekdays, day.weekday);
}

bool ScheduleMeaning::holds(Point point, const oxcmdSchTime* times, const Day& day, std::int64_t time) const noexcept {
  for (; times != nullptr; times = times->next) {
    if (is_instant(*times) != (point == Point::instant)) continue;
    const std::int64_t start = zone_.first_at(day.midnight + times->start);
    if (is_instant(*times) ? start == time : start <= time && time < zone_.first_at(day.midnight + times->end)) {
      return true;
    }
  }
  return false;
}

bool ScheduleMeaning::given(Point point, const Day& day, std::int64_t time) const noexcept {
  if (refused_by_fields(schedule_, day) == 0 && holds(point, or_whole(schedule_.times), day, time)) return true;
  for (const oxcmdCalender* item = schedule_.calender; item != nullptr; item = item->next) {
    if (item->flag == 0 && names(*item, day) && holds(point, or_whole(item->times), day, time)) return true;
  }
  return false;
}

// A day that is taken away whole loses what runs into the next days, too.
bool ScheduleMeaning::taken_away(Point point, const Day& day, std::int64_t time) const noexcept {
  for (const oxcmdCalender* item = schedule_.calender; item != nullptr; item = item->next) {
    if (item->flag == 0 || !names(*item, day)) continue;
    if (item->times == nullptr || holds(Point::range, item->times, day, time)) return true;
    if (point == Point::instant && holds(Point::instant, item->times, day, time)) return true;
  }
  return false;
}

// The days whose times may hold at a moment. One more at each end: the clocks may have been set over midnight.
template <class Holds>
bool ScheduleMeaning::any_day(std::int64_t time, std::int64_t longest, Holds holds) const noexcept {
  const std::int64_t today = number_of_day(time);
  const std::int64_t first = today - (longest - 1) / day_seconds - 1;
  if (holds(Day(today))) return true;
  for (std::int64_t number = today + 1; number >= first; --number) {
    if (number != today && holds(Day(number))) return true;
  }
  return false;
}

bool ScheduleMeaning::of_a_day(Point point, std::int64_t time) const noexcept {
  return any_day(time, point == Point::range ? longest_range_ : longest_instant_,
                 [&](const Day& day) { return given(point, day, time) && !taken_away(point, day, time); });
}

bool ScheduleMeaning::within_dates(std::int64_t time) const noexcept {
  if (schedule_.dates == nullptr) return true;
  for (const oxcmdSchTime* date = schedule_.dates; date != nullptr; date = date->next) {
    if (date->start <= time && time < date->end) return true;
  }
  return false;
}

bool ScheduleMeaning::date_instant(std::int64_t time) const noexcept {
  for (const oxcmdSchTime* date = schedule_.dates; date != nullptr; date = date->next) {
    if (is_instant(*date) && date->start == time) return true;
  }
  return false;
}

bool ScheduleMeaning::inside(std::int64_t time) const noexcept {
  return within_dates(time) && of_a_day(Point::range, time);
}

bool ScheduleMeaning::instant(std::int64_t time) const noexcept {
  if (date_instant(time) && (of_a_day(Point::range, time) || of_a_day(Point::instant, time))) return true;
  return within_dates(time) && of_a_day(Point::instant, time);
}

std::uint32_t ScheduleMeaning::kinds(std::int64_t time, std::uint32_t wanted) const noexcept {
  std::uint32_t found = 0;
  if ((wanted & (OXCMD_OPENS | OXCMD_CLOSES)) != 0 && inside(time) != inside(time - 1)) {
    found = inside(time) ? OXCMD_OPENS : OXCMD_CLOSES;
  }
  if ((wanted & OXCMD_INSTANT) != 0 && instant(time)) found |= OXCMD_INSTANT;
  return found & wanted;
}

// ---- Searching ----

template <class Consider>
void ScheduleMeaning::each_moment(const oxcmdSchTime* times, const Day& day, Consider consider) const noexcept {
  for (; times != nullptr; times = times->next) {
    consider(zone_.first_at(day.midnight + times->start));
    if (!is_instant(*times)) consider(zone_.first_at(day.midnight + times->end));
  }
}

template <class Consider>
void ScheduleMeaning::each_moment_of_day(const Day& day, Consider consider) const noexcept {
  if (refused_by_fields(schedule_, day) == 0) each_moment(or_whole(schedule_.times), day, consider);
  for (const oxcmdCalender* item = schedule_.calender; item != nullptr; item = item->next) {
    if (names(*item, day)) each_moment(or_whole(item->times), day, consider);
  }
}

template <class Consider>
void ScheduleMeaning::each_date(Consider consider) const noexcept {
  for (const oxcmdSchTime* date = schedule_.dates; date != nullptr; date = date->next) {
    consider(date->start);
    if (!is_instant(*date)) consider(date->end);
  }
}

// Whether all days are whole and none is taken away, so that only the dates open and close anything. Most schedules
// are of that kind, and a search would go through all days there are.
bool ScheduleMeaning::days_are_one(std::uint32_t wanted) const noexcept {
  constexpr std::uint32_t all_weekdays = 0x7F;
  constexpr std::uint32_t all_days = 0x7FFFFFFF;
  constexpr std::uint32_t all_months = 0xFFF;
  const auto every = [](std::uint32_t mask, std::uint32_t all) { return mask == 0 || mask == all; };
  if (!every(schedule_.weekdays, all_weekdays) || !every(schedule_.days, all_days) ||
      !every(schedule_.months, all_months)) {
    return false;
  }
  const oxcmdSchTime* whole = or_whole(schedule_.times);
  while (whole != nullptr && (whole->start != 0 || whole->end < day_seconds)) whole = whole->next;
  bool instants = has_instant(schedule_.times);
  for (const oxcmdCalender* item = schedule_.calender; item != nullptr; item = item->next) {
    if (item->flag != 0) return false;
    instants = instants || has_instant(item->times);
  }
  return whole != nullptr && ((wanted & OXCMD_INSTANT) == 0 || !instants);
}

bool ScheduleMeaning::next(std::uint32_t wanted, std::int64_t time, std::int64_t& found) const noexcept {
  std::int64_t best = end_of_time;
  const auto consider = [&](std::int64_t moment) {
    if (moment > time && moment < best && kinds(moment, wanted) != 0) best = moment;
  };
  each_date(consider);
  if (!days_are_one(wanted)) {
    std::int64_t last = -1;  // nothing happens behind the last date
    each_date([&](std::int64_t moment) { last = std::max(last, moment); });
    for (std::int64_t number = number_of_day(time) - longest() / day_seconds - 1;; ++number) {
      const Day day(number);
      const std::int64_t begin = zone_.first_at(day.midnight);
      if (begin >= best || (schedule_.dates != nullptr && begin > last)) break;
      each_moment_of_day(day, consider);
    }
  }
  found = best;
  return best != end_of_time;
}

bool ScheduleMeaning::previous(std::uint32_t wanted, std::int64_t time, std::int64_t& found) const noexcept {
  std::int64_t best = -1;
  const auto consider = [&](std::int64_t moment) {
    if (moment < time && moment > best && kinds(moment, wanted) != 0) best = moment;
  };
  each_date(consider);
  if (!days_are_one(wanted)) {
    std::int64_t first = end_of_time;  // nothing happens before the first date
    each_date([&](std::int64_t moment) { first = std::min(first, moment); });
    for (std::int64_t number = number_of_day(time) + 1;; --number) {
      const Day day(number);
      const std::int64_t end = zone_.first_at(day.midnight + longest());
      if (end <= best || (schedule_.dates != nullptr && end < first)) break;
      each_moment_of_day(day, consider);
    }
  }
  found = best;
  return best >= 0;
}

std::uint32_t ScheduleMeaning::refusal(std::int64_t time) const noexcept {
  if (inside(time) || instant(time)) return 0;
  const std::uint32_t dates = flag_if(!within_dates(time) && !date_instant(time), OXCMD_DATES);
  if (of_a_day(Point::range, time) || of_a_day(Point::instant, time)) return dates;
  const auto has = [&](const Day& day) { return given(Point::range, day, time) || given(Point::instant, day, time); };
  if (any_day(time, longest(), has)) return dates | OXCMD_CALENDER;
  // No day that its fields let pass has the time: those of the day that would have it, else of the day itself.
  std::uint32_t fields = 0;
  const bool timely = any_day(time, longest(), [&](const Day& day) {
    fields = refused_by_fields(schedule_, day);
    const oxcmdSchTime* times = or_whole(schedule_.times);
    return holds(Point::range, times, day, time) || holds(Point::instant, times, day, time);
  });
  if (!timely) fields = OXCMD_TIMES | refused_by_fields(schedule_, Day(number_of_day(time)));
  return dates | fields;
}

}  // namespace ox
