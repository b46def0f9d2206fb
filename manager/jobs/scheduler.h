// One timer for everything that is planned.
//
// Each moment of an entry is told once, in the order of time: when it has come, or as missed when it went by while
// the manager was not there or the wall clock was set over it. Of what was missed in the last minute the last moment
// still counts as come: it is late. When the clock is set back, what counts seconds goes on at once, and so does all
// when it was more than an hour; else what has been told is not told again.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

#include "manager/base/clock.h"
#include "manager/base/pace.h"
#include "manager/jobs/plan.h"

namespace ox::manager {

enum class Arrival {
  come,
  again,         // come a second time, since the clock was set back
  manager_down,  // missed
  clock_set,     // missed
};

struct Due {
  std::uint32_t time = 0;
  std::uint32_t kinds = 0;  // Moment's
  Arrival arrival = Arrival::come;
  // Of more than a thousand boundaries that were missed, those at the same distance are told together.
  std::uint64_t count = 1;
  std::uint32_t last = 0;  // of them
  bool latest = true;      // nothing else of the entry has come since
  [[nodiscard]] bool missed() const { return arrival == Arrival::manager_down || arrival == Arrival::clock_set; }
};

class Scheduler {
 public:
  using Handler = std::function<void(const Due&)>;
  using Id = std::uint64_t;  // from 1, never given twice

  explicit Scheduler(Clock& clock);
  Scheduler(const Scheduler&) = delete;
  Scheduler& operator=(const Scheduler&) = delete;

  // Plans an entry, whose moments up to `told` have been told; for a new one that is the present second. The handler is
  // called from the event loop alone, never from here; it may plan and forget entries, its own too. Running out of
  // memory in it costs what it was told, no more.
  Id plan(Plan plan, std::uint32_t told, Handler handler);
  void forget(Id id);  // one that is unknown is passed over
  // What comes next; nothing when nothing does, or the entry is unknown.
  [[nodiscard]] std::optional<Moment> next(Id id) const;
  [[nodiscard]] std::uint32_t now() const { return static_cast<std::uint32_t>(clock_.wall() / 1000); }
  [[nodiscard]] Clock& clock() const { return clock_; }
  [[nodiscard]] std::size_t size() const { return entries_.size(); }

 private:
  struct Entry {
    Plan plan;
    Handler handler;
    std::optional<Moment> next{};
    std::uint32_t told = 0;        // the last moment told
    std::uint32_t down_until = 0;  // what is due before that was missed
  };

  void place(Id id, Entry& entry, std::uint32_t after);
  void wait();
  void work();
  void look_at_clock();
  void set_forward(std::int64_t from, std::int64_t to);
  void set_back(std::int64_t by);
  void plan_again();
  void tell_first();
  [[nodiscard]] Arrival arrival(const Entry& entry, std::uint32_t time, const std::optional<Moment>& next) const;
  [[nodiscard]] std::uint32_t missed_until(const Entry& entry, std::uint32_t time) const;

  Clock& clock_;
  StepWatch steps_;
  std::unique_ptr<Timer> timer_;
  std::unordered_map<Id, Entry> entries_;
  std::set<std::pair<std::uint32_t, Id>> order_;  // of those that have something to come
  Id last_ = 0;
  std::uint32_t set_from_ = 0;  // over these seconds the clock was set, from the first to the one before the end
  std::uint32_t set_until_ = 0;
  std::int64_t waiting_until_ = 0;  // by what has passed; 0: not at all
  // Since the clock was set back, entries that go on from another second, in steps: from where, and those that are
  // left.
  std::uint32_t again_from_ = 0;
  std::vector<Id> to_plan_;
  Pace pace_;
};

}  // namespace ox::manager
