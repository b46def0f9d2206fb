#include "manager/base/period.h"

#include <array>
#include <charconv>
#include <chrono>
#include <limits>

namespace ox::manager {
namespace {

using Seconds = std::int64_t;
constexpr std::uint32_t day_seconds = 86'400;
constexpr Seconds end_of_time = std::numeric_limits<std::uint32_t>::max();

struct Unit {
  char letter;
  std::uint32_t seconds;  // of s, m, h
  std::uint32_t most;     // in a hundred years
};
constexpr std::array units{
    Unit{'s', 1, 3'153'600'000}, Unit{'m', 60, 52'560'000}, Unit{'h', 3600, 876'000}, Unit{'D', 0, 36'500},
    Unit{'W', 0, 5'200},         Unit{'M', 0, 1'200},       Unit{'Y', 0, 100},
};

constexpr Seconds floor_div(Seconds a, Seconds b) { return a / b - (a % b < 0 ? 1 : 0); }

// Units of the calendar, numbered from 1970.
Seconds number_of(char unit, const oxcDate& date) {
  using namespace std::chrono;
  if (unit == 'Y') return date.year - 1970;
  if (unit == 'M') return (date.year - 1970) * 12 + date.month - 1;
  const year_month_day calendar{year(date.year), month(unsigned(date.month)), day(unsigned(date.day))};
  const Seconds days = sys_days(calendar).time_since_epoch().count();
  return unit == 'W' ? floor_div(days + 4, 7) : days;  // 1970-01-01 was a Thursday
}

std::uint32_t beginning_of(const Zone& zone, char unit, Seconds number) {
  oxcDate date{1970, 1, 1, 0, 0, 0, 0, 0};
  const auto plus = static_cast<std::int32_t>(std::min<Seconds>(number, 100'000));
  if (unit == 'Y') {
    date.year += plus;
  } else if (unit == 'M') {
    date.month += plus;
  } else {
    date.day += unit == 'W' ? plus * 7 - 4 : plus;
  }
  return zone.seconds(date);
}

std::uint32_t midnight(const Zone& zone, std::uint32_t at) {
  oxcDate date = zone.date(at);
  date.hour = date.minute = date.second = 0;
  return zone.seconds(date);
}

std::optional<std::uint32_t> if_in_time(Seconds time) {
  if (time > end_of_time) return {};
  return static_cast<std::uint32_t>(time);
}

}  // namespace

std::uint32_t Period::seconds() const {
  for (const Unit& known : units) {
    if (known.letter == unit) return known.seconds * number;
  }
  return 0;
}

std::optional<std::uint32_t> Period::next(const Zone& zone, std::uint32_t start, std::uint32_t after) const {
  if (none()) return {};
  if (start > after) after = start - 1;
  const Seconds length = seconds();
  if (length == 0) {
    const Seconds base = start != 0 ? number_of(unit, zone.date(start)) : 0;
    Seconds step = floor_div(number_of(unit, zone.date(after)) - base, number);
    std::uint32_t found = 0;
    // A midnight that comes twice has been when it comes again.
    do {
      found = beginning_of(zone, unit, base + ++step * number);
    } while (found <= after && found != end_of_time);
    return found == end_of_time ? std::nullopt : std::optional(found);
  }
  if (start != 0) return if_in_time(start + (floor_div(Seconds{after} - start, length) + 1) * length);
  const bool daily = length <= day_seconds;
  const Seconds from = midnight(zone, daily ? after : 0);
  const auto found = if_in_time(from + (floor_div(after - from, length) + 1) * length);
  const auto tomorrow = Period{1, 'D'}.next(zone, 0, after);
  return daily && tomorrow && found && *tomorrow < *found ? tomorrow : found;
}

std::optional<std::uint32_t> Period::last(const Zone& zone, std::uint32_t start, std::uint32_t at) const {
  if (none() || at < start) return {};
  const Seconds length = seconds();
  if (length == 0) {
    const Seconds base = start != 0 ? number_of(unit, zone.date(start)) : 0;
    const Seconds step = floor_div(number_of(unit, zone.date(at)) - base, number);
    const std::uint32_t found = beginning_of(zone, unit, base + step * number);
    return found < start ? std::nullopt : std::optional(found);
  }
  const Seconds from = start != 0 ? start : midnight(zone, length <= day_seconds ? at : 0);
  return if_in_time(from + floor_div(at - from, length) * length);
}

std::uint32_t Period::later(const Zone& zone, std::uint32_t than) const {
  const Seconds length = seconds();
  if (length != 0 || none()) return if_in_time(than + length).value_or(end_of_time);
  oxcDate date = zone.date(than);
  const auto plus = static_cast<std::int32_t>(number);
  if (unit == 'Y') date.year += plus;
  if (unit == 'M') date.month += plus;
  if (unit == 'W') date.day += 7 * plus;
  if (unit == 'D') date.day += plus;
  return zone.seconds(date);
}

std::optional<Period> parse_period(std::string_view text) {
  Period period;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), period.number);
  const std::string_view rest = text.substr(static_cast<std::size_t>(end - text.data()));
  if (error != std::errc{} || period.none() || rest.size() > 1) return {};
  if (!rest.empty()) period.unit = rest.front();
  for (const Unit& unit : units) {
    if (unit.letter == period.unit) return period.number <= unit.most ? std::optional(period) : std::nullopt;
  }
  return {};
}

}  // namespace ox::manager
