#include "tools/moment.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <iterator>
#include <regex>
#include <string_view>

namespace tool {
namespace {

constexpr std::string_view units = "smhDWMY";
constexpr std::array<std::uint32_t, 7> unit_seconds = {1, 60, 3600, 86400, 604800, 2629746, 31556952};

bool is_number(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

oxcDate date_of(const oxcZone* zone, std::uint32_t seconds) {
  oxcDate date{};
  require(oxcZoneToDate(zone, seconds, &date), "time zone");
  return date;
}

std::string date_text(const oxcDate& date, char between) {
  char text[80];
  (void)std::snprintf(text, sizeof text, "%04d-%02d-%02d%c%02d:%02d:%02d", date.year, date.month, date.day, between,
                      date.hour, date.minute, date.second);
  return text;
}

// "2026-11-22", "2026-11-22 13:05", "13:05:00": what is missing of the date is today's, of the time 0.
std::optional<std::uint32_t> local_moment(const oxcZone* zone, const std::string& text) {
  static const std::regex form(R"((?:(\d{4})-(\d\d?)-(\d\d?))?[ T]?(?:(\d\d?):(\d\d)(?::(\d\d))?)?)");
  std::smatch parts;
  if (text.size() < 4 || !std::regex_match(text, parts, form)) return {};
  oxcDate date = date_of(zone, now());
  int32_t* const fields[] = {&date.year, &date.month, &date.day, &date.hour, &date.minute, &date.second};
  constexpr int32_t most[] = {2106, 12, 31, 24, 59, 59};
  for (std::size_t i = 0; i < std::size(fields); ++i) {
    const bool given = parts[i + 1].matched;
    if (given || i >= 3) *fields[i] = given ? std::stoi(parts[i + 1]) : 0;
    if (*fields[i] > most[i]) return {};
  }
  std::uint32_t seconds = 0;
  if (oxcZoneToSeconds(zone, &date, &seconds) != OX_OK) return {};
  return seconds;
}

}  // namespace

ZonePtr open_zone(const std::string& name) {
  oxcZone* zone = nullptr;
  const std::string text = !name.empty() ? name : oxcGetTimeZone();
  require(oxcZoneOpen(text.c_str(), &zone), "time zone " + text);
  return ZonePtr(zone);
}

std::string shown_time(const oxcZone* zone, std::uint32_t seconds) {
  return seconds == 0 ? "-" : date_text(date_of(zone, seconds), ' ');
}

std::string iso_time(const oxcZone* zone, std::uint32_t seconds) {
  const oxcDate date = date_of(zone, seconds);
  const int minutes = std::abs(date.offset) / 60;
  char offset[24];
  (void)std::snprintf(offset, sizeof offset, "%c%02d:%02d", date.offset < 0 ? '-' : '+', minutes / 60, minutes % 60);
  return date_text(date, 'T') + offset;
}

std::uint32_t now() { return static_cast<std::uint32_t>(std::time(nullptr)); }

std::uint32_t moment(const oxcZone* zone, const std::string& text) {
  std::uint32_t seconds = 0;
  if (text == "now") return now();
  if (is_number(text) && oxcStrToUlong(text.c_str(), 10, &seconds) == OX_OK) return seconds;
  if (text.size() > 1 && text[0] == '-') {
    if (const auto period = period_of(text.substr(1))) return shifted(zone, now(), *period, -1);
  }
  std::string plain = text;
  std::replace(plain.begin(), plain.end(), '/', '-');
  std::replace(plain.begin(), plain.end(), '.', ' ');
  if (const auto local = local_moment(zone, plain)) return *local;
  throw Usage("\"" + text + "\" is no time: write 2026-11-22 13:05, 13:05, -2h, now, or seconds since 1970");
}

std::optional<Period> period_of(const std::string& text) {
  Period period;
  const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  if (text.size() - digits > 1) return {};
  if (digits < text.size()) period.unit = text[digits];
  if (units.find(period.unit) == units.npos) return {};
  if (oxcStrToUlong(text.substr(0, digits).c_str(), 10, &period.count) != OX_OK || period.count == 0) return {};
  return period;
}

std::uint32_t shifted(const oxcZone* zone, std::uint32_t from, const Period& period, int direction) {
  const std::int64_t plain = std::int64_t{from} + direction * std::int64_t{seconds_of(period)};
  const auto clamped = static_cast<std::uint32_t>(std::clamp<std::int64_t>(plain, 0, UINT32_MAX));
  if (units.find(period.unit) < 3 || period.count > 100000) return clamped;
  oxcDate date = date_of(zone, from);
  const int count = direction * static_cast<int>(period.count);
  if (period.unit == 'D') date.day += count;
  if (period.unit == 'W') date.day += 7 * count;
  if (period.unit == 'M') date.month += count;
  if (period.unit == 'Y') date.year += count;
  std::uint32_t seconds = 0;
  return oxcZoneToSeconds(zone, &date, &seconds) == OX_OK ? seconds : clamped;
}

std::uint32_t seconds_of(const Period& period) {
  const std::uint64_t seconds = std::uint64_t{period.count} * unit_seconds[units.find(period.unit)];
  return static_cast<std::uint32_t>(std::min<std::uint64_t>(seconds, UINT32_MAX));
}

std::string shown_duration(std::uint64_t seconds) {
  constexpr std::pair<std::uint64_t, const char*> shown[] = {{86400, " d"}, {3600, " h"}, {60, " min"}, {1, " s"}};
  std::string text;
  int parts = 0;
  for (const auto& [size, unit] : shown) {
    const std::uint64_t count = seconds / size;
    if (count == 0 && parts == 0) continue;
    if (count != 0) text += (text.empty() ? "" : " ") + std::to_string(count) + unit;
    seconds %= size;
    if (++parts == 2) break;
  }
  return text.empty() ? "0 s" : text;
}

}  // namespace tool
