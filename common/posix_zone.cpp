// Zones as POSIX writes them: "std offset [dst [offset] [,start[/time],end[/time]]]".
#include <algorithm>
#include <chrono>
#include <optional>

#include "common/ascii.h"
#include "common/time_zone.h"

namespace ox {
namespace {

constexpr std::int32_t hour = 3600;
constexpr std::int32_t day = 86'400;
constexpr std::string_view usual_rules = ",M3.2.0,M11.1.0";  // where the text names a summer time without its rules

// A day of every year, and a time of its clocks.
struct YearDay {
  enum class Kind : std::uint8_t { without_leap_day, with_leap_day, weekday_of_month };
  Kind kind = Kind::with_leap_day;
  int month = 0;
  int week = 0;
  int day = 0;
  std::int32_t time = 2 * hour;
};

class Text {
 public:
  explicit Text(std::string_view rest) noexcept : rest_(rest) {}

  [[nodiscard]] bool at_end() const noexcept { return rest_.empty(); }
  [[nodiscard]] char front() const noexcept { return rest_.empty() ? '\0' : rest_.front(); }
  bool take(char c) noexcept {
    if (front() != c) return false;
    rest_.remove_prefix(1);
    return true;
  }
  bool take_number(int maximum, int& number) noexcept {
    if (!is_digit(front())) return false;
    for (number = 0; is_digit(front()); rest_.remove_prefix(1)) {
      number = number * 10 + static_cast<int>(digit_value(front()));
      if (number > maximum) return false;
    }
    return true;
  }
  // "EST", "<+03>": three characters or more.
  bool take_name() noexcept {
    const bool quoted = take('<');
    std::size_t length = 0;
    for (; is_letter(front()) || (quoted && (is_digit(front()) || front() == '+' || front() == '-')); ++length) {
      rest_.remove_prefix(1);
    }
    return length >= 3 && (!quoted || take('>'));
  }
  // [+-]h[:m[:s]]
  bool take_time(int hours, std::int32_t& seconds) noexcept {
    const bool negative = take('-');
    if (!negative) (void)take('+');
    int h = 0;
    int m = 0;
    int s = 0;
    if (!take_number(hours, h)) return false;
    if (take(':') && (!take_number(59, m) || (take(':') && !take_number(59, s)))) return false;
    seconds = (h * hour + m * 60 + s) * (negative ? -1 : 1);
    return true;
  }
  // ",M3.2.0/2", ",J60", ",59"
  bool take_day(YearDay& rule) noexcept {
    return take(',') && take_date(rule) && (!take('/') || take_time(167, rule.time));
  }

 private:
  bool take_date(YearDay& rule) noexcept {
    if (take('M')) {
      rule.kind = YearDay::Kind::weekday_of_month;
      return take_number(12, rule.month) && rule.month != 0 && take('.') && take_number(5, rule.week) &&
             rule.week != 0 && take('.') && take_number(6, rule.day);
    }
    if (!take('J')) return take_number(365, rule.day);
    rule.kind = YearDay::Kind::without_leap_day;
    return take_number(365, rule.day) && rule.day != 0;
  }

  std::string_view rest_;
};

// The clocks' time, in seconds since 1970, of the rule in a year.
std::int64_t moment(const YearDay& rule, std::chrono::year year) noexcept {
  using namespace std::chrono;
  sys_days date = year / January / 1;
  if (rule.kind == YearDay::Kind::weekday_of_month) {
    const month_weekday_last last{month(static_cast<unsigned>(rule.month)),
                                  weekday(static_cast<unsigned>(rule.day))[std::chrono::last]};
    date = rule.week == 5
               ? sys_days(year / last.month() / last.weekday_last())
               : sys_days(year / last.month() / last.weekday_last().weekday()[static_cast<unsigned>(rule.week)]);
  } else if (rule.kind == YearDay::Kind::with_leap_day) {
    date += days(rule.day);
  } else {
    date += days(rule.day - 1 + (year.is_leap() && rule.day >= 60 ? 1 : 0));
  }
  return std::int64_t{date.time_since_epoch().count()} * day + rule.time;
}

void expand(std::int32_t standard, std::int32_t summer, const YearDay& start, const YearDay& end, ZoneRules& rules) {
  constexpr std::chrono::year first(1969);  // its last change holds when 1970 begins
  constexpr std::chrono::year last(2106);
  for (std::chrono::year year = first; year <= last; ++year) {
    rules.changes.push_back({moment(end, year) - summer, standard});
    rules.changes.push_back({moment(start, year) - standard, summer});
  }
  // Where a summer time ends as the next one begins there is no winter: the later entry holds.
  std::sort(rules.changes.begin(), rules.changes.end(), [standard](const ZoneChange& a, const ZoneChange& b) {
    return a.at != b.at ? a.at < b.at : a.offset == standard && b.offset != standard;
  });
  rules.offset = rules.changes.front().offset == standard ? summer : standard;
}

}  // namespace

bool read_posix_zone(std::string_view zone, ZoneRules& rules) {
  rules = {};
  Text text(zone);
  std::int32_t west = 0;
  if (!text.take_name() || !text.take_time(24, west)) return false;
  rules.offset = -west;
  if (text.at_end()) return true;
  std::int32_t summer_west = west - hour;
  if (!text.take_name()) return false;
  if (!text.at_end() && text.front() != ',' && !text.take_time(24, summer_west)) return false;
  if (text.at_end()) text = Text(usual_rules);
  YearDay start;
  YearDay end;
  if (!text.take_day(start) || !text.take_day(end) || !text.at_end()) return false;
  expand(-west, -summer_west, start, end, rules);
  return true;
}

}  // namespace ox
