// Moments and periods as people write and read them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/library.h"

namespace tool {

using ZonePtr = Owner<oxcZone, oxcZoneFree>;

// The zone of the installation, whose schedules and periods it is; or the one named. Throws Failure.
[[nodiscard]] ZonePtr open_zone(const std::string& name = {});

// "2026-11-22 13:05:00" by the zone's clocks; "-" for 0.
[[nodiscard]] std::string shown_time(const oxcZone* zone, std::uint32_t seconds);
// "2026-11-22T13:05:00+01:00", as ISO 8601 has it.
[[nodiscard]] std::string iso_time(const oxcZone* zone, std::uint32_t seconds);

// Seconds since 1970; a time by the zone's clocks as above or as 2009/09/03.10:20:30, its date or its time of day
// alone; "now"; or such a period before now as "-2h". Throws Usage.
[[nodiscard]] std::uint32_t moment(const oxcZone* zone, const std::string& text);
[[nodiscard]] std::uint32_t now();

// Number and unit s, m, h, D, W, M or Y; without a unit seconds.
struct Period {
  std::uint32_t count = 0;
  char unit = 's';
};
[[nodiscard]] std::optional<Period> period_of(const std::string& text);
// The moment so many of them before (-1) or after (1) another: days and longer by the zone's calendar.
[[nodiscard]] std::uint32_t shifted(const oxcZone* zone, std::uint32_t from, const Period& period, int direction);
// Seconds; of months and years, what they have on average.
[[nodiscard]] std::uint32_t seconds_of(const Period& period);
// Seconds as "2 days 3 h", in two units at most.
[[nodiscard]] std::string shown_duration(std::uint64_t seconds);

}  // namespace tool
