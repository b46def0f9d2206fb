// Periods: how often something comes back, how long something is kept.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "manager/base/zone.h"

namespace ox::manager {

// A number and one unit: s, m, h are seconds that pass, whatever the clocks show; D, W, M, Y are days, weeks (from
// Sunday), months and years of the calendar.
struct Period {
  std::uint32_t number = 0;  // 0: none, which has no boundaries
  char unit = 's';

  [[nodiscard]] bool none() const { return number == 0; }
  // Of s, m and h; 0 for the others.
  [[nodiscard]] std::uint32_t seconds() const;

  // Its boundaries. Those of s, m and h count from `start`; without one (0) from each local midnight, if they are no
  // longer than a day. The others are the first moments of days, weeks, months and years; of several units they count
  // from that of `start`, or of 1970. None is before `start`.
  // The first one after `after`; nothing when it does not come before 2106.
  [[nodiscard]] std::optional<std::uint32_t> next(const Zone& zone, std::uint32_t start, std::uint32_t after) const;
  // The last one up to `at`; nothing when there is none.
  [[nodiscard]] std::optional<std::uint32_t> last(const Zone& zone, std::uint32_t start, std::uint32_t at) const;
  // So much later, by the calendar at the same time of the day (of a day that the month does not have, in the next
  // month); the last second there is, if that comes after 2106.
  [[nodiscard]] std::uint32_t later(const Zone& zone, std::uint32_t than) const;
};

// Reads "300", "5m", "1D"; no unit is seconds. Nothing for another text, for 0, and for more than a hundred years.
[[nodiscard]] std::optional<Period> parse_period(std::string_view text);

}  // namespace ox::manager
