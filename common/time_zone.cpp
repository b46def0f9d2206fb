#include "common/time_zone.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <limits>

#include "platform/clock.h"

namespace ox {
namespace {

constexpr std::int64_t day = 86'400;

std::int32_t local_offset(std::int64_t seconds) noexcept {
  std::tm time{};
  if (!platform::local_time(static_cast<std::uint32_t>(seconds), time)) return 0;
  const std::chrono::sys_days date{std::chrono::year(time.tm_year + 1900) / (time.tm_mon + 1) / time.tm_mday};
  const std::int64_t wall =
      date.time_since_epoch().count() * day + time.tm_hour * 3600 + time.tm_min * 60 + time.tm_sec;
  return static_cast<std::int32_t>(wall - seconds);
}

// The first moment in (from, to] with the offset that holds at `to`, which is not that of `from`.
std::int64_t moment_of_change(std::int64_t from, std::int64_t to) noexcept {
  const std::int32_t offset = local_offset(to);
  while (to - from > 1) {
    const std::int64_t middle = from + (to - from) / 2;
    (local_offset(middle) == offset ? to : from) = middle;
  }
  return to;
}

}  // namespace

ZoneTable::ZoneTable(std::int32_t offset, const std::vector<ZoneChange>& changes) {
  stretches_.reserve(changes.size() + 1);
  stretches_.push_back({std::numeric_limits<std::int64_t>::min(), offset});
  for (const ZoneChange& change : changes) {
    if (stretches_.back().at == change.at) stretches_.pop_back();
    if (stretches_.empty() || stretches_.back().offset != change.offset) stretches_.push_back(change);
  }
  largest_ = std::max_element(stretches_.begin(), stretches_.end(), [](const ZoneChange& a, const ZoneChange& b) {
               return a.offset < b.offset;
             })->offset;
}

const ZoneChange* ZoneTable::stretch(std::int64_t seconds) const noexcept {
  const auto behind = std::upper_bound(stretches_.begin() + 1, stretches_.end(), seconds,
                                       [](std::int64_t time, const ZoneChange& change) { return time < change.at; });
  return &*(behind - 1);
}

std::int64_t ZoneTable::first_at(std::int64_t wall) const noexcept {
  const ZoneChange* const end = stretches_.data() + stretches_.size();
  for (const ZoneChange* now = stretch(wall - largest_);; ++now) {
    const std::int64_t time = std::max(now->at, wall - now->offset);
    if (now + 1 == end || time < now[1].at) return time;
  }
}

ZoneTable local_zone() {
  constexpr std::int64_t last = std::numeric_limits<std::uint32_t>::max();
  std::vector<ZoneChange> changes;
  const std::int32_t first = local_offset(0);
  std::int32_t offset = first;
  for (std::int64_t time = 0; time < last; time += day) {
    const std::int64_t next = std::min(time + day, last);
    if (local_offset(next) == offset) continue;
    offset = local_offset(next);
    changes.push_back({moment_of_change(time, next), offset});
  }
  return {first, changes};
}

}  // namespace ox
