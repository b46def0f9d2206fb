#include "manager/jobs/run_ledger.h"

#include <algorithm>
#include <array>
#include <asio/post.hpp>
#include <new>

#include "manager/base/paths.h"

namespace ox::manager {
namespace {

using Columns = std::string_view;
constexpr std::array<Columns, 10> entry_columns{"id",   "name",       "told",        "side",   "first",
                                                "next", "last_start", "last_status", "failed", "last_error"};
constexpr std::array<Columns, 11> run_columns{"id",     "due",    "last",    "count",  "what",  "start",
                                              "end_at", "status", "command", "output", "reason"};
constexpr std::array<Columns, 4> running_columns{"id", "process", "started", "mark"};
constexpr std::array all_tables{
    Table{"entries", entry_columns},
    Table{"runs", run_columns},
    Table{"running", running_columns},
};
enum : std::size_t { entries_table, runs_table, running_table };

constexpr std::int64_t before_again = 1000;        // ms
constexpr std::int64_t between_tidyings = 60'000;  // ms
constexpr std::uint64_t at_a_time = 200;           // runs that go together

Run run_of(const Row& row) {
  return {row.number(0), row.word(1), row.word(2), row.number(3), RunFate{row.word(4)}, row.number(5),
          row.number(6), row.word(7), row.text(8), row.text(9),   row.text(10)};
}

}  // namespace

std::span<const Table> RunLedger::tables() { return all_tables; }

RunLedger::RunLedger(asio::io_context& loop, Clock& clock, const Settings& settings, const std::string& directory)
    : loop_(loop),
      clock_(clock),
      settings_(settings),
      database_(join(directory, "jobs.db"), all_tables, settings.durability),
      again_(clock.timer()),
      tidying_(clock.timer()) {
  database_.on_back([this] {
    if (scheduled_) (void)commit();
  });
}

bool RunLedger::open(FaultSink faults) {
  const Outcome opened = database_.open(std::move(faults));
  if (opened == Outcome::refused) return false;
  bool usable = opened == Outcome::done && load();
  if (!usable) database_.renew([&](bool renewed) { usable = renewed && load() && go_on_behind_runs(); });
  if (!usable) return false;
  tidying_->wait(between_tidyings, [this] { tidy(); });
  return true;
}

bool RunLedger::load() {
  states_.clear();
  running_.clear();
  Query entries(database_, entries_table, "");
  const Outcome entries_read = entries.rows([&](const Row& row) {
    states_[row.number(0)] = {row.text(1), row.word(2), row.word(3), row.number(4), row.number(5),
                              row.word(6), row.word(7), row.word(8), row.text(9)};
    return true;
  });
  Query programs(database_, running_table, "");
  const Outcome programs_read = programs.rows([&](const Row& row) {
    running_[row.number(0)] = {row.word(1), row.number(2), row.text(3)};
    return true;
  });
  return entries_read == Outcome::done && programs_read == Outcome::done &&
         states_.size() == database_.rows(entries_table) && running_.size() == database_.rows(running_table);
}

// Where an entry's own row has gone, its runs stay, and their numbers are not given again.
bool RunLedger::go_on_behind_runs() {
  Statement runs(database_.connection(),
                 "SELECT id >> 32, min(id) & 0xFFFFFFFF, max(id) & 0xFFFFFFFF FROM runs GROUP BY 1");
  const Outcome read = runs.begin().rows([this](const Row& row) {
    RunState& state = states_.try_emplace(row.number(0), RunState{.name = RunState::lost_name}).first->second;
    state.first = std::min(state.first, row.number(1));
    state.next = std::max(state.next, row.number(2) + 1);
    changed(row.number(0));
    return true;
  });
  RunState& none = states_[0];
  none.next = std::max(none.next, states_.rbegin()->first + 1);
  changed(0);
  return read == Outcome::done;
}

// What is known here is newer than what the file has kept.
void RunLedger::renew() {
  database_.renew([this](bool renewed) {
    for (const auto& [entry, state] : states_) fresh_states_.insert(entry);
    for (const auto& [key, program] : running_) fresh_running_.insert(key);
    if (renewed) schedule();
  });
}

void RunLedger::check() {
  database_.check(loop_, [this] { renew(); });
}

void RunLedger::put(const Run& run) {
  schedule();
  fresh_runs_.insert_or_assign(run.key, run);
}

void RunLedger::erase(std::uint64_t key) {
  schedule();
  fresh_runs_.insert_or_assign(key, std::nullopt);
}

void RunLedger::changed(std::uint64_t entry) {
  schedule();
  fresh_states_.insert(entry);
}

void RunLedger::put(std::uint64_t key, const RunningProgram& program) {
  schedule();
  fresh_running_.insert(key);
  running_.insert_or_assign(key, program);
}

void RunLedger::ended(std::uint64_t key) {
  schedule();
  fresh_running_.insert(key);
  running_.erase(key);
}

void RunLedger::schedule() {
  if (scheduled_) return;
  asio::post(loop_, [this] {
    if (scheduled_ && !database_.is_away()) (void)commit();
  });
  scheduled_ = true;
}

void RunLedger::write() {
  for (const auto& [key, run] : fresh_runs_) {
    if (!run) {
      database_.erase(runs_table, key);
      continue;
    }
    database_.put(runs_table, key, std::uint64_t{run->due}, std::uint64_t{run->last}, run->count,
                  static_cast<std::uint64_t>(run->what), run->start, run->end, std::uint64_t{run->status},
                  std::string_view(run->command), std::string_view(run->output), std::string_view(run->reason));
  }
  for (const std::uint64_t entry : fresh_states_) {
    const auto found = states_.find(entry);
    if (found == states_.end()) {
      database_.erase(entries_table, entry);
      continue;
    }
    const RunState& state = found->second;
    database_.put(entries_table, entry, std::string_view(state.name), std::uint64_t{state.told},
                  std::uint64_t{state.side}, state.first, state.next, std::uint64_t{state.last_start},
                  std::uint64_t{state.last_status}, std::uint64_t{state.failed}, std::string_view(state.last_error));
  }
  for (const std::uint64_t key : fresh_running_) {
    const auto found = running_.find(key);
    if (found == running_.end()) {
      database_.erase(running_table, key);
    } else {
      const RunningProgram& program = found->second;
      database_.put(running_table, key, std::uint64_t{program.process}, program.started,
                    std::string_view(program.mark));
    }
  }
}

bool RunLedger::commit() {
  scheduled_ = false;
  if (database_.is_renewing()) return false;  // what is fresh follows
  bool ready = true;
  try {
    write();
  } catch (const std::bad_alloc&) {  // as if the disk had refused
    ready = false;
  }
  if (database_.commit(ready)) {
    fresh_runs_.clear();
    fresh_states_.clear();
    fresh_running_.clear();
    return true;
  }
  if (database_.is_damaged()) renew();
  again_->wait(before_again, [this] { schedule(); });
  return false;
}

std::vector<Run> RunLedger::read(std::uint64_t entry, const Window& window) {
  (void)commit();
  std::vector<Run> runs;
  Query query(database_, runs_table, "WHERE id > ? AND id < ? AND last >= ? AND due <= ? ORDER BY id DESC LIMIT ?");
  const std::uint64_t to = window.to != 0 ? window.to : 0xFFFFFFFF;
  const std::uint64_t count = window.count != 0 ? window.count : 0x7FFFFFFF;
  const Outcome outcome = query.rows(
      [&](const Row& row) {
        runs.push_back(run_of(row));
        return true;
      },
      Run::key_of(entry, 0), Run::key_of(entry + 1, 0), std::uint64_t{window.from}, to, count);
  if (outcome == Outcome::damaged) renew();
  std::reverse(runs.begin(), runs.end());
  return runs;
}

bool RunLedger::read(std::uint64_t key, Run& run) {
  bool found = false;
  Query query(database_, runs_table, "WHERE id = ?");
  (void)query.rows(
      [&](const Row& row) {
        run = run_of(row);
        found = true;
        return false;
      },
      key);
  return found;
}

// ---- What is too old ----

// From entry to entry, in steps.
void RunLedger::tidy() {
  tidying_->wait(between_tidyings, [this] { tidy(); });
  if (database_.is_away()) return;
  const Pace::Step step(pace_);
  if (scheduled_) (void)commit();
  auto at = states_.upper_bound(tidied_);
  while (at != states_.end() && Pace::Clock::now() < step.until() && tidy_entry(at->first, at->second)) {
    const auto here = at++;
    tidied_ = here->first;
    if (!here->second.name.empty()) continue;
    changed(here->first);
    states_.erase(here);
  }
  if (at != states_.end()) return tidying_->wait(0, [this] { tidy(); });
  tidied_ = 0;
}

// Whether there is no more to go.
bool RunLedger::tidy_entry(std::uint64_t entry, RunState& state) {
  const std::uint64_t now = static_cast<std::uint64_t>(clock_.wall() / 1000);
  const std::uint64_t age = std::uint64_t{settings_.run_ledger_age} * 86'400;
  const std::uint64_t until = state.name.empty() ? 0xFFFFFFFF : now > age ? now - age : 0;
  std::uint64_t number = state.first;
  Query old(database_, runs_table, "WHERE id >= ? AND id < ? ORDER BY id LIMIT ?");
  (void)old.rows(
      [&](const Row& row) {
        if (row.word(2) >= until) return false;
        number = (row.number(0) & 0xFFFFFFFF) + 1;
        erase(row.number(0));
        return true;
      },
      Run::key_of(entry, state.first), Run::key_of(entry, state.next), at_a_time);
  const bool more = number - state.first >= at_a_time;
  if (number != state.first) changed(entry);
  state.first = number;
  return !more;
}

}  // namespace ox::manager
