// A time zone: a table of the moments from which on its clocks stand how far from UTC.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include <oxbase/oxc.h>

namespace ox {

struct ZoneChange {
  std::int64_t at;      // seconds since 1970
  std::int32_t offset;  // seconds east of UTC from then on
};

// Times from the beginning to the end of 32 unsigned bits are exact; before the first change and behind the last one
// the offset stays as it is. Nothing here allocates or locks but the making.
class ZoneTable {
 public:
  // `offset` holds before the first change. Changes stand in the order of their times.
  ZoneTable(std::int32_t offset, const std::vector<ZoneChange>& changes);

  // What the clocks show, in seconds since 1970-01-01 00:00:00 of their own.
  [[nodiscard]] std::int64_t wall(std::int64_t seconds) const noexcept { return seconds + stretch(seconds)->offset; }
  [[nodiscard]] std::int32_t offset(std::int64_t seconds) const noexcept { return stretch(seconds)->offset; }

  // The first moment at which the clocks show that time or a later one: of a time that comes twice the first, of one
  // that is left out the moment of the change.
  [[nodiscard]] std::int64_t first_at(std::int64_t wall) const noexcept;

 private:
  // The entry that holds at that moment.
  [[nodiscard]] const ZoneChange* stretch(std::int64_t seconds) const noexcept;

  std::vector<ZoneChange> stretches_;  // the first from ever
  std::int32_t largest_ = 0;
};

// The zone of the process's environment.
[[nodiscard]] ZoneTable local_zone();

// The rules of a POSIX text, "EST5EDT,M3.2.0,M11.1.0", from 1970 to 2106. False for a text that is none.
struct ZoneRules {
  std::int32_t offset = 0;  // before the first change
  std::vector<ZoneChange> changes;
};
[[nodiscard]] bool read_posix_zone(std::string_view text, ZoneRules& rules);

// The rules of a compiled zone file (RFC 8536), of version 2 or later. False for bytes that are none.
[[nodiscard]] bool read_zone_file(std::string_view bytes, ZoneRules& rules);

}  // namespace ox

struct oxcZone {
  ox::ZoneTable table;
};
