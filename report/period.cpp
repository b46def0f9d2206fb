#include "report/period.h"

#include <algorithm>
#include <cstdio>

namespace report {
namespace {

constexpr std::int64_t day = 86400;

oxcDate date_of(const oxcZone* zone, std::uint32_t seconds) {
  oxcDate date{};
  tool::require(oxcZoneToDate(zone, seconds, &date), "time zone");
  return date;
}

std::uint32_t seconds_of(const oxcZone* zone, const oxcDate& date) {
  std::uint32_t seconds = 0;
  tool::require(oxcZoneToSeconds(zone, &date, &seconds), "time zone");
  return seconds;
}

std::uint32_t beginning(const oxcZone* zone, std::uint32_t at, const tool::Period& period) {
  oxcDate date = date_of(zone, at);
  const std::int64_t local = std::int64_t{at} + date.offset;
  const auto count = static_cast<std::int64_t>(period.count);
  if (std::string_view("smh").find(period.unit) != std::string_view::npos) {
    const std::int64_t length = tool::seconds_of(period);
    return static_cast<std::uint32_t>(std::max<std::int64_t>(0, at - local % length));
  }
  date.hour = date.minute = date.second = 0;
  if (period.unit == 'D') date.day -= static_cast<int>(local / day % count);
  if (period.unit == 'W') date.day -= static_cast<int>((local / day + 3) % (7 * count));  // 1970 began on a Thursday
  if (period.unit == 'M') date.month -= static_cast<int>((std::int64_t{12} * date.year + date.month - 1) % count);
  if (period.unit == 'Y') date.year -= static_cast<int>(date.year % count);
  if (period.unit == 'Y') date.month = 1;
  if (period.unit == 'M' || period.unit == 'Y') date.day = 1;
  return seconds_of(zone, date);
}

}  // namespace

Span period_around(const oxcZone* zone, std::uint32_t at, const tool::Period& period) {
  const std::uint32_t from = beginning(zone, at, period);
  return {from, std::max(tool::shifted(zone, from, period, 1), from + 1) - 1};
}

std::string period_name(const oxcZone* zone, const Span& span, const tool::Period& period) {
  const std::string text = tool::iso_time(zone, span.from);
  if (std::string_view("smh").find(period.unit) == std::string_view::npos) return text.substr(0, 10);
  return text.substr(0, 13) + text.substr(14, 2) + (period.unit == 's' ? text.substr(17, 2) : "");
}

std::uint32_t iso_moment(const std::string& text) {
  int hours = 0, minutes = 0;
  char sign = '+';
  if (text.size() != 25 || std::sscanf(text.c_str() + 19, "%c%2d:%2d", &sign, &hours, &minutes) != 3) return 0;
  const int offset = (hours * 60 + minutes) * (sign == '-' ? -60 : 60);
  try {
    return tool::moment(tool::open_zone("UTC0").get(), text.substr(0, 19)) - static_cast<std::uint32_t>(offset);
  } catch (const std::exception&) {
    return 0;
  }
}

}  // namespace report
