#include "manager/jobs/plan.h"

#include <algorithm>

namespace ox::manager {
namespace {

bool in_range(const Plan& plan, std::uint32_t at, std::uint32_t* begin = nullptr) {
  std::uint32_t inside = 0;
  (void)oxcmdScheduleInside(plan.schedule.get(), plan.zone->get(), at, &inside, begin, nullptr);
  return inside != 0;
}

std::optional<Moment> next_event(const Plan& plan, std::uint32_t after) {
  Moment event;
  if (oxcmdScheduleNext(plan.schedule.get(), plan.zone->get(), after, &event.time, &event.kinds) != OX_OK) return {};
  if (!plan.inverted) return event;
  event.kinds &= std::uint32_t{OXCMD_OPENS | OXCMD_CLOSES};
  if (event.kinds != 0) event.kinds ^= std::uint32_t{OXCMD_OPENS | OXCMD_CLOSES};
  return event;
}

// Where boundaries of a range that is open at that time count from.
std::uint32_t anchor(const Plan& plan, std::uint32_t at) {
  if (!plan.from_opening || plan.schedule == nullptr) return plan.start;
  std::uint32_t begin = 0;
  (void)in_range(plan, at, &begin);
  return std::max(begin, plan.start);
}

std::optional<std::uint32_t> next_boundary(const Plan& plan, std::uint32_t after) {
  return plan.period.next(*plan.zone, anchor(plan, after), after);
}

// An opening that is a boundary, too.
std::uint32_t boundary_at(const Plan& plan, std::uint32_t time) {
  if (plan.from_opening || plan.period.none()) return 0;
  return plan.period.last(*plan.zone, plan.start, time) == time ? std::uint32_t{due_interval} : 0;
}

std::uint32_t kinds_at_start(const Plan& plan) {
  const auto event = next_event(plan, plan.start - 1);
  std::uint32_t kinds = event && event->time == plan.start ? event->kinds & ~std::uint32_t{OXCMD_CLOSES} : 0;
  if (is_open(plan, plan.start)) kinds |= OXCMD_OPENS | boundary_at(plan, plan.start);
  return kinds;
}

std::optional<Moment> next_without_schedule(const Plan& plan, std::uint32_t after) {
  if (plan.period.none()) return plan.start > after ? std::optional(Moment{plan.start, OXCMD_INSTANT}) : std::nullopt;
  const auto time = plan.period.next(*plan.zone, plan.start, after);
  return time ? std::optional(Moment{*time, due_interval}) : std::nullopt;
}

struct FreeSchedule {
  void operator()(const Schedule* schedule) const { (void)oxcmdScheduleFree(const_cast<Schedule*>(schedule)); }
};

}  // namespace

OX_RESULT read_schedule(const std::string& text, std::shared_ptr<const Schedule>& schedule) {
  Schedule* made = nullptr;
  if (const OX_RESULT result = oxcmdStrToSchedule(text.c_str(), &made)) return result;
  schedule = made != nullptr ? std::shared_ptr<const Schedule>(made, FreeSchedule()) : nullptr;
  return OX_OK;
}

bool is_open(const Plan& plan, std::uint32_t at) {
  return at >= plan.start && (plan.schedule == nullptr || in_range(plan, at) != plan.inverted);
}

std::optional<Moment> next_moment(const Plan& plan, std::uint32_t after) {
  if (plan.schedule == nullptr) return next_without_schedule(plan, after);
  if (after < plan.start) {
    if (const std::uint32_t kinds = kinds_at_start(plan)) return Moment{plan.start, kinds};
    after = plan.start;
  }
  auto event = next_event(plan, after);
  if (plan.period.none()) return event;
  if (event && (event->kinds & OXCMD_OPENS) != 0) event->kinds |= boundary_at(plan, event->time);
  if (!is_open(plan, after)) return event;
  const auto boundary = next_boundary(plan, after);
  if (!boundary || (event && event->time < *boundary)) return event;
  if (!event || *boundary < event->time) return Moment{*boundary, due_interval};
  if ((event->kinds & OXCMD_CLOSES) == 0) event->kinds |= due_interval;
  return event;
}

Boundaries run_of_boundaries(const Plan& plan, std::uint32_t boundary, std::uint32_t until) {
  const std::uint32_t length = plan.period.seconds();
  if (length == 0 || until <= boundary) return {1, boundary};
  if (plan.schedule != nullptr) {
    if (const auto event = next_event(plan, boundary)) until = std::min(until, event->time - 1);
  }
  if (anchor(plan, boundary) == 0) {
    if (const auto midnight = Period{1, 'D'}.next(*plan.zone, 0, boundary)) until = std::min(until, *midnight - 1);
  }
  const std::uint32_t more = until > boundary ? (until - boundary) / length : 0;
  return {more + std::uint64_t{1}, boundary + more * length};
}

}  // namespace ox::manager
