#include "manager/jobs/scheduler.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <vector>

#include "manager/base/log.h"

namespace ox::manager {
namespace {

constexpr std::uint32_t still_late = 60;  // seconds
constexpr std::int64_t long_step = 3'600'000;
constexpr std::uint64_t many = 1000;

// Of what is done in a turn of the event loop, for which everybody waits.
std::chrono::steady_clock::time_point turn_end() {
  return std::chrono::steady_clock::now() + std::chrono::milliseconds(10);
}

}  // namespace

Scheduler::Scheduler(Clock& clock) : clock_(clock), steps_(clock), timer_(clock.timer()) {}

Scheduler::Id Scheduler::plan(Plan plan, std::uint32_t told, Handler handler) {
  if (entries_.empty()) (void)steps_.look();  // nobody has looked for a while
  const Id id = ++last_;
  Entry& entry = entries_.try_emplace(id).first->second;
  entry.plan = std::move(plan);
  entry.handler = std::move(handler);
  entry.told = told;
  entry.down_until = now();
  place(id, entry, told);
  wait();
  return id;
}

void Scheduler::forget(Id id) {
  const auto found = entries_.find(id);
  if (found == entries_.end()) return;
  if (found->second.next) order_.erase({found->second.next->time, id});
  entries_.erase(found);
}

std::optional<Moment> Scheduler::next(Id id) const {
  const auto found = entries_.find(id);
  return found == entries_.end() ? std::nullopt : found->second.next;
}

void Scheduler::place(Id id, Entry& entry, std::uint32_t after) {
  auto place = entry.next ? order_.extract({entry.next->time, id}) : decltype(order_)::node_type();
  entry.next = next_moment(entry.plan, after);
  if (!entry.next) return;
  if (place.empty()) {
    order_.insert({entry.next->time, id});
  } else {  // no want of memory takes an entry away
    place.value() = {entry.next->time, id};
    order_.insert(std::move(place));
  }
}

// A wait that ends early enough goes on.
void Scheduler::wait() {
  if (order_.empty() && to_plan_.empty()) {
    waiting_until_ = 0;
    return timer_->cancel();
  }
  const std::int64_t due = to_plan_.empty() ? std::int64_t{order_.begin()->first} * 1000 - clock_.wall() : 0;
  const std::int64_t time = std::clamp<std::int64_t>(due, 0, clock_.look_every());
  const std::int64_t until = clock_.passed() + time;
  if (waiting_until_ != 0 && waiting_until_ <= until) return;
  waiting_until_ = until;
  timer_->wait(time, [this] { work(); });
}

void Scheduler::work() {
  waiting_until_ = 0;
  wait();  // whatever becomes of this turn
  look_at_clock();
  plan_again();
  const auto end = turn_end();
  while (!order_.empty() && std::int64_t{order_.begin()->first} * 1000 <= clock_.wall()) {
    tell_first();
    if (std::chrono::steady_clock::now() >= end) break;
  }
  wait();
}

void Scheduler::look_at_clock() {
  const std::int64_t step = steps_.look();
  if (step == 0) return;
  log(Severity::warning, "the clock was set " + std::string(step > 0 ? "forward" : "back") + " by " +
                             std::to_string((step > 0 ? step : -step) / 1000) + " seconds");
  if (step < 0) return set_back(-step);
  set_forward(clock_.wall() - step, clock_.wall());
}

// What was not told of an earlier step stays missed.
void Scheduler::set_forward(std::int64_t from, std::int64_t to) {
  const bool pending = !order_.empty() && order_.begin()->first < set_until_;
  const auto first = static_cast<std::uint32_t>(from / 1000 + 1);
  set_from_ = pending ? std::min(set_from_, first) : first;
  set_until_ = static_cast<std::uint32_t>(to / 1000);
}

void Scheduler::set_back(std::int64_t by) {
  set_until_ = 0;
  again_from_ = to_plan_.empty() ? now() : std::min(again_from_, now());
  for (auto& [id, entry] : entries_) {
    entry.down_until = std::min(entry.down_until, now());
    if (by > long_step || entry.plan.schedule == nullptr) to_plan_.push_back(id);
  }
}

void Scheduler::plan_again() {
  if (to_plan_.empty()) return;
  const Pace::Step step(pace_);
  do {
    const auto entry = entries_.find(to_plan_.back());
    if (entry != entries_.end()) place(entry->first, entry->second, again_from_);
    to_plan_.pop_back();
  } while (!to_plan_.empty() && std::chrono::steady_clock::now() < step.until());
}

// Until when what is due at that time, or soon after it, was missed; up to the time itself: it was not.
std::uint32_t Scheduler::missed_until(const Entry& entry, std::uint32_t time) const {
  if (time < entry.down_until) return entry.down_until;
  return time >= set_from_ && time < set_until_ ? set_until_ : time;
}

Arrival Scheduler::arrival(const Entry& entry, std::uint32_t time, const std::optional<Moment>& next) const {
  const std::uint32_t until = missed_until(entry, time);
  if (until <= time) return time <= entry.told ? Arrival::again : Arrival::come;
  if (time + still_late > now() && (!next || next->time > now())) return Arrival::come;
  return time < entry.down_until ? Arrival::manager_down : Arrival::clock_set;
}

void Scheduler::tell_first() {
  const Id id = order_.begin()->second;
  Entry& entry = entries_.at(id);
  const Moment moment = *entry.next;
  Due due{moment.time, moment.kinds, Arrival::come, 1, moment.time};
  const std::uint32_t until = missed_until(entry, moment.time);
  if (until > moment.time + still_late && moment.kinds == due_interval) {
    const Boundaries run = run_of_boundaries(entry.plan, moment.time, until - still_late);
    if (run.count > many) {
      due.count = run.count;
      due.last = run.last;
    }
  }
  place(id, entry, due.last);
  due.arrival = arrival(entry, due.last, entry.next);
  due.latest = !entry.next || entry.next->time > now();
  entry.told = std::max(entry.told, due.last);
  if (due.kinds == 0) return;
  try {
    const Handler handler = entry.handler;  // it may forget the entry
    handler(due);
  } catch (const std::bad_alloc&) {
    log(Severity::error, "out of memory: what was due at " + std::to_string(due.time) + " is not done");
  }
}

}  // namespace ox::manager
