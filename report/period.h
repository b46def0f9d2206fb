// Periods of pages, by the calendar of the installation's zone.
#pragma once

#include <cstdint>
#include <string>

#include "tools/moment.h"

namespace report {

struct Span {
  std::uint32_t from = 0;
  std::uint32_t to = 0;  // the last second
};

// The period that a moment lies in. Days begin at midnight, weeks on Monday; several of a unit are counted from the
// beginning of 1970 on, months and years from that of the calendar.
[[nodiscard]] Span period_around(const oxcZone* zone, std::uint32_t at, const tool::Period& period);

// A name for it in files: "2026-11-22", "2026-11-22T1300" of shorter ones than a day.
[[nodiscard]] std::string period_name(const oxcZone* zone, const Span& span, const tool::Period& period);

// What tool::iso_time wrote; 0 for another text.
[[nodiscard]] std::uint32_t iso_moment(const std::string& text);

}  // namespace report
