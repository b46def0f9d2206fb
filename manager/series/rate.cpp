#include "manager/series/rate.h"

#include <oxbase/oxtypes.h>

namespace ox::manager {
namespace {

constexpr std::uint32_t late_uptime = 0xFFFFFFFF - 8640000;  // the day before the agent's clock begins anew

// An agent's clock that begins anew after 497 days is no restart.
bool has_restarted(const ReadAt& then, const ReadAt& at) {
  return then.uptime && at.uptime && *at.uptime < *then.uptime && *then.uptime < late_uptime;
}

double seconds_between(const ReadAt& then, const ReadAt& at) {
  if (then.uptime && at.uptime) return (*at.uptime - *then.uptime) / 100.0;
  return static_cast<double>(at.at - then.at) / 1000.0;
}

}  // namespace

double number_of(const Cell& cell) {
  if (cell.type == OX_INTEGER) return static_cast<std::int32_t>(cell.number);
  return static_cast<double>(cell.number);
}

Difference difference(const Cell& before, const ReadAt& then, const Cell& now, const ReadAt& at) {
  Difference found{0, 0, seconds_between(then, at)};
  if (now.type != OX_COUNTER && now.type != OX_COUNTER64) {
    found.amount = number_of(now) - number_of(before);
    return found;
  }
  if (has_restarted(then, at)) return {restarted, 0, 0};
  const std::uint64_t mask = now.type == OX_COUNTER ? 0xFFFFFFFF : ~std::uint64_t{0};
  const std::uint64_t forward = (now.number - before.number) & mask;
  if (forward > mask / 2) return {implausible, 0, 0};
  if (now.number < before.number) found.status = wrapped;
  found.amount = static_cast<double>(forward);
  return found;
}

}  // namespace ox::manager
