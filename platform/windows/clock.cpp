// The C runtime's calls with 64-bit times: its time_t ends in 2038.
#include "platform/clock.h"

#include <time.h>

namespace ox::platform {

bool local_time(std::uint32_t seconds, std::tm& time) noexcept {
  const __time64_t value = seconds;
  const std::tm* found = ::_localtime64(&value);  // a buffer of the calling thread
  if (found == nullptr) return false;
  time = *found;
  return true;
}

bool make_local_time(std::tm time, std::int64_t& seconds) noexcept {
  // The runtime refuses times before 1970. The calendar repeats itself every 400 years, weekdays included.
  constexpr std::int64_t cycle_seconds = 146'097LL * 86'400;
  constexpr int cycle_years = 400;
  constexpr int first_year = 71;  // of tm: one year of room for the time zone
  std::int64_t shift = 0;
  while (time.tm_year < first_year && time.tm_year > -1900) {
    time.tm_year += cycle_years;
    shift += cycle_seconds;
  }
  time.tm_isdst = -1;
  time.tm_wday = -1;  // filled in by a conversion that works
  const __time64_t value = ::_mktime64(&time);
  if (value == -1 && time.tm_wday == -1) return false;
  seconds = value - shift;
  return true;
}

std::string zone_file(const char*) { return {}; }

}  // namespace ox::platform
