// The exported functions on time zones.
#include <chrono>
#include <fstream>
#include <iterator>
#include <string>

#include <oxbase/oxc.h>

#include "common/time_zone.h"
#include "common/trace.h"
#include "platform/clock.h"

namespace {

using ox::trace::text, ox::trace::word;

constexpr std::int64_t day = 86'400;

// A name of the machine's own zones, on systems that keep them in files.
OX_RESULT read_named(const char* name, ox::ZoneRules& rules) {
  const std::string path = ox::platform::zone_file(name);
  if (path.empty()) return OX_EFORMAT;
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  return ox::read_zone_file(bytes, rules) ? OX_OK : OX_EFORMAT;
}

OX_RESULT open(const char* zone, oxcZone** opened) {
  if (opened == nullptr) return OX_EARG;
  if (zone == nullptr || *zone == '\0') {
    *opened = new oxcZone{ox::local_zone()};
    return OX_OK;
  }
  ox::ZoneRules rules;
  if (!ox::read_posix_zone(zone, rules)) {
    const OX_RESULT result = read_named(*zone == ':' ? zone + 1 : zone, rules);
    if (result != OX_OK) return result;
  }
  *opened = new oxcZone{{rules.offset, rules.changes}};
  return OX_OK;
}

OX_RESULT to_date(const oxcZone* zone, std::uint32_t seconds, oxcDate* date) noexcept {
  if (zone == nullptr || date == nullptr) return OX_EARG;
  using namespace std::chrono;
  const std::int64_t wall = zone->table.wall(seconds);
  const sys_days days(floor<std::chrono::days>(std::chrono::seconds(wall)));
  const year_month_day calendar(days);
  const auto rest = static_cast<std::int32_t>(wall - std::int64_t{days.time_since_epoch().count()} * day);
  *date = {int(calendar.year()),
           static_cast<std::int32_t>(unsigned(calendar.month())),
           static_cast<std::int32_t>(unsigned(calendar.day())),
           rest / 3600,
           rest / 60 % 60,
           rest % 60,
           static_cast<std::int32_t>(weekday(days).c_encoding()),
           zone->table.offset(seconds)};
  return OX_OK;
}

OX_RESULT to_seconds(const oxcZone* zone, const oxcDate* date, std::uint32_t* seconds) noexcept {
  if (zone == nullptr || date == nullptr || seconds == nullptr) return OX_EARG;
  using namespace std::chrono;
  const std::int64_t months = std::int64_t{date->year} * 12 + date->month - 1;
  constexpr std::int64_t first = 1900 * 12;
  constexpr std::int64_t last = 2200 * 12;
  if (months < first || months > last) return OX_EFORMAT;
  const year_month month = year(1900) / January + std::chrono::months(months - first);
  const std::int64_t days = sys_days(month / 1).time_since_epoch().count() + std::int64_t{date->day} - 1;
  const std::int64_t time = zone->table.first_at(days * day + std::int64_t{date->hour} * 3600 +
                                                 std::int64_t{date->minute} * 60 + date->second);
  if (time < 0 || time > UINT32_MAX) return OX_EFORMAT;
  *seconds = static_cast<std::uint32_t>(time);
  return OX_OK;
}

}  // namespace

OX_RESULT OX_CALL oxcZoneOpen(const char* zone, oxcZone** opened) {
  OX_ENTRY("oxcZoneOpen", ":%s:%x", text(zone), word(opened));
  return ox::traced("oxcZoneOpen", [&] { return open(zone, opened); });
}

OX_RESULT OX_CALL oxcZoneFree(oxcZone* zone) {
  OX_ENTRY("oxcZoneFree", ":%x", word(zone));
  return ox::traced("oxcZoneFree", [&]() -> OX_RESULT {
    delete zone;
    return OX_OK;
  });
}

OX_RESULT OX_CALL oxcZoneToDate(const oxcZone* zone, uint32_t seconds, oxcDate* date) {
  OX_ENTRY("oxcZoneToDate", ":%x:%u:%x", word(zone), seconds, word(date));
  return ox::traced("oxcZoneToDate", [&] { return to_date(zone, seconds, date); });
}

OX_RESULT OX_CALL oxcZoneToSeconds(const oxcZone* zone, const oxcDate* date, uint32_t* seconds) {
  OX_ENTRY("oxcZoneToSeconds", ":%x:%x:%x", word(zone), word(date), word(seconds));
  return ox::traced("oxcZoneToSeconds", [&] { return to_seconds(zone, date, seconds); });
}
