// How a data entry's period is shown.
#include <cstdio>
#include <ctime>

#include "common/ascii.h"
#include "common/installed_page.h"
#include "entries/data/data_entry.h"
#include "platform/clock.h"

namespace ox::entries {
namespace {

// In the order of their letters.
enum class Unit { none, second, minute, hour, day, week, month, year };
constexpr std::string_view letters = "smhDWMY";

// A number and at most one letter, seconds without one.
OX_RESULT read_unit(std::string_view period, Unit& unit) noexcept {
  unit = Unit::none;
  if (period.empty()) return OX_OK;
  while (!period.empty() && is_digit(period.front())) period.remove_prefix(1);
  unit = Unit::second;
  if (period.empty()) return OX_OK;
  const std::size_t letter = letters.find(period.front());
  if (period.size() > 1 || letter == std::string_view::npos) return OX_EMISSING;
  unit = static_cast<Unit>(letter + 1);
  return OX_OK;
}

// Code page 932: year, month, day, a range's "from - to", and the days of the week from Sunday on.
#define YEAR "\x94\x4E"
#define MONTH "\x8C\x8E"
#define DAY "\x93\xFA"
#define TO "\x81\x60"
constexpr const char* weekdays[] = {"\x93\xFA", "\x8C\x8E", "\x89\xCE", "\x90\x85", "\x96\xD8", "\x8B\xE0", "\x93\x79"};

// A date in the zone of the process.
struct Date {
  std::tm time{};

  [[nodiscard]] bool read(std::uint32_t seconds) noexcept { return platform::local_time(seconds, time); }
  [[nodiscard]] bool operator==(const Date& other) const noexcept {
    return time.tm_year == other.time.tm_year && time.tm_yday == other.time.tm_yday;
  }

  [[nodiscard]] std::string year() const { return std::to_string(time.tm_year + 1900) + YEAR; }
  [[nodiscard]] std::string month() const { return std::to_string(time.tm_mon + 1) + MONTH; }
  [[nodiscard]] std::string day() const { return std::to_string(time.tm_mday) + DAY; }
  [[nodiscard]] std::string weekday() const { return std::string("(") + weekdays[time.tm_wday] + ')'; }
  [[nodiscard]] std::string date() const { return year() + month() + day(); }
};

std::string text_of(Unit unit, const Date& start, const Date& end, bool is_open) {
  if (unit == Unit::day) return start.date();
  if (unit == Unit::week) return start.date() + start.weekday() + TO + end.day() + end.weekday();
  if (unit == Unit::month) return start.year() + start.month();
  if (is_open) return start.date() + TO;
  if (start == end) return start.date();
  return start.date() + start.weekday() + TO + end.month() + end.day() + end.weekday();
}

}  // namespace

OX_RESULT make_period_text(const DataEntry& record, std::string& text) {
  Unit unit = Unit::none;
  if (const OX_RESULT result = read_unit(record.period.text != nullptr ? record.period.text : "", unit)) return result;
  Date start;
  Date end;
  if (!start.read(record.period_start) || !end.read(record.period_end)) return OX_EFORMAT;
  text = composed(text_of(unit, start, end, record.period_end == open_period_end));
  return OX_OK;
}

}  // namespace ox::entries
