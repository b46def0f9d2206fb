#include "manager/jobs/commands.h"

#include <algorithm>
#include <new>
#include <random>
#include <utility>

#include <oxbase/oxc.h>

#include "manager/base/log.h"
#include "platform/error.h"

namespace ox::manager {
namespace {

using What = EntryChanges::What;

constexpr std::uint64_t still_in_time = 2000;  // ms

// No other program has a variable that begins so.
std::string unique_marks() {
  std::random_device random;
  return "OX_RUN=" + std::to_string(random()) + '-' + std::to_string(random()) + '-';
}

std::string error_text(platform::Error error) {
  platform::set_last_error(error);
  return std::string(oxcStrError(oxcGetWinError())) + " (system error " + std::to_string(error) + ")";
}

const char* why_missed(Arrival arrival) {
  return arrival == Arrival::manager_down ? "the manager was not there" : "the clock was set over it";
}

}  // namespace

Commands::Commands(Surroundings surroundings) : with_(std::move(surroundings)), marks_(unique_marks()) {}

Commands::Entry* Commands::find(std::uint64_t id) {
  const auto found = entries_.find(id);
  return found == entries_.end() ? nullptr : &found->second;
}

void Commands::note(Entry& entry) { with_.book.changed(entry.id); }

// ---- Entries come, change and go ----

// The number that an entry keeps for good: the one it has, or one that none has had.
void Commands::number(Entry& entry, const ComponentName& name) {
  auto& states = with_.book.states();
  entry.id = number_of(*with_.store.values(name), CommandAttribute::id);
  const auto known = states.find(entry.id);
  const auto is_own = [&](const std::string& kept) { return kept == name.name || kept == RunState::lost_name; };
  if (entry.id != 0 && find(entry.id) == nullptr && (known == states.end() || is_own(known->second.name))) return;
  std::uint64_t& next = states[0].next;
  next = std::max(next, states.rbegin()->first + 1);
  entry.id = next++;
  with_.book.changed(0);
  const Change change{.kind = Change::Kind::set,
                      .component = name,
                      .path = command_path(CommandAttribute::id),
                      .value = number_value(static_cast<std::uint32_t>(entry.id))};
  (void)with_.commit(std::span(&change, 1));
}

void Commands::changed(const ComponentName& name, What what, std::span<const Oid> paths) {
  const auto known = by_name_.find(name.name);
  if (what == What::removed) {
    if (known == by_name_.end()) return;
    const auto gone = entries_.extract(known->second);
    by_name_.erase(known);
    with_.scheduler.forget(gone.mapped().planned);
    state(gone.mapped()).name.clear();
    return with_.book.changed(gone.key());
  }
  if (known != by_name_.end()) {
    const Oid& id = command_path(CommandAttribute::id);
    if (std::all_of(paths.begin(), paths.end(), [&](const Oid& path) { return path == id; })) return;
    return take(entries_.at(known->second), name, true);
  }
  Entry entry;
  entry.name = name.name;
  number(entry, name);
  state(entry).name = name.name;
  note(entry);
  by_name_[name.name] = entry.id;
  const std::uint64_t id = entry.id;
  take(entries_.insert_or_assign(id, std::move(entry)).first->second, name, what != What::loaded);
}

void Commands::take(Entry& entry, const ComponentName& name, bool fresh) {
  const CommandEntry before = std::exchange(entry.has, command_entry(*with_.store.values(name)));
  entry.program.clear();
  if (fresh && entry.has.same_times(before)) return;
  if (entry.has.armed) return arm(entry, fresh);
  if (before.armed || fresh) disarm(entry);
}

void Commands::arm(Entry& entry, bool fresh) {
  with_.scheduler.forget(std::exchange(entry.planned, 0));
  entry.plan = {};
  if (const OX_RESULT result = plan_of(entry.has, with_.zone, entry.plan)) {
    return fail(entry, "Schedule: " + std::string(oxcStrError(result)));
  }
  const std::uint32_t now = with_.scheduler.now();
  RunState& known = state(entry);
  if (fresh || known.told == 0) known.told = now;
  note(entry);
  if (!has_ranges(entry.plan) && known.side == RunState::open) close(entry, now);
  const bool at_once = entry.plan.schedule == nullptr && entry.plan.period.none() && entry.plan.start == 0;
  if (at_once) return fresh ? open(entry, now) : void();
  entry.planned =
      with_.scheduler.plan(entry.plan, known.told, [this, id = entry.id](const Due& due) { on_due(id, due); });
  const auto next = with_.scheduler.next(entry.planned);
  if ((!next || next->time > now) && wants_side(entry)) bring_about(entry, now);
}

void Commands::disarm(Entry& entry) {
  with_.scheduler.forget(std::exchange(entry.planned, 0));
  entry.put_off.reset();
  if (state(entry).side == RunState::open) close(entry, with_.scheduler.now());
  state(entry).side = RunState::none;
  note(entry);
}

OX_RESULT Commands::check(Change& change) const {
  if (change.path == command_path(CommandAttribute::id)) {  // the manager's, whatever a record has of another entry
    const auto known = by_name_.find(change.component.name);
    if (known == by_name_.end()) return OX_OK;
    change.kind = Change::Kind::set;
    change.value = number_value(static_cast<std::uint32_t>(known->second));
  }
  return check_command(change);
}

// ---- Times ----

bool Commands::wants_side(Entry& entry) {
  if (!has_ranges(entry.plan)) return false;
  const auto now = is_open(entry.plan, with_.scheduler.now()) ? RunState::open : RunState::closed;
  return state(entry).side != now;
}

void Commands::bring_about(Entry& entry, std::uint32_t due) {
  is_open(entry.plan, with_.scheduler.now()) ? open(entry, due) : close(entry, due);
}

void Commands::on_due(std::uint64_t id, const Due& due) {
  Entry* const entry = find(id);
  if (entry == nullptr) return;
  state(*entry).told = std::max(state(*entry).told, due.last);
  note(*entry);
  const bool closes = (due.kinds & OXCMD_CLOSES) != 0;
  const bool starts = (due.kinds & ~std::uint32_t{OXCMD_CLOSES}) != 0;
  if (due.missed()) {
    bool side = due.latest && wants_side(*entry);
    if (side && entry->has.invalid_command.empty() && !is_open(entry->plan, with_.scheduler.now())) {
      close(*entry, due.time);  // starts nothing
      side = false;
    }
    if (side) {
      bring_about(*entry, due.time);
    } else if (due.latest && starts && entry->has.mode == 3) {
      open(*entry, due.time);
    } else if (starts || !entry->has.invalid_command.empty()) {
      miss(*entry, due);
    }
    return due.latest ? tell_missed(*entry) : void();
  }
  tell_missed(*entry);
  if (closes) close(*entry, due.time);
  if (starts) open(*entry, due.time);
}

void Commands::miss(Entry& entry, const Due& due) {
  const bool starts = (due.kinds & ~std::uint32_t{OXCMD_CLOSES}) != 0;
  Run run = new_run(entry, due.time, starts ? entry.has.command : entry.has.invalid_command);
  run.last = due.last;
  run.count = due.count;
  run.what = RunFate::missed;
  run.reason = why_missed(due.arrival);
  with_.book.put(run);
  if (entry.missed == 0) entry.missed_from = due.time;
  entry.missed += due.count;
  fail(entry, std::string("missed: ") + why_missed(due.arrival));
}

// One event for all that were missed together.
void Commands::tell_missed(Entry& entry) {
  if (entry.missed == 0) return;
  const std::uint64_t count = std::exchange(entry.missed, 0);
  with_.warn("command entry " + entry.name + " has missed " + std::to_string(count) +
                 (count == 1 ? " due time" : " due times"),
             state(entry).last_error + "; the first was " + oxcUxTimeToStr(entry.missed_from));
}

void Commands::open(Entry& entry, std::uint32_t due) {
  Run made = new_run(entry, due, entry.has.command);
  if (entry.running == 0 || entry.has.mode == 1) return run(entry, std::move(made), Side::command);
  constexpr char why[] = "the run before it had not ended";
  if (entry.has.mode != 3) return not_run(entry, std::move(made), RunFate::refused, why, Side::command);
  made.what = RunFate::refused;  // unless it is caught up
  made.reason = why;
  with_.book.put(made);
  entry.put_off = std::move(made);
}

void Commands::close(Entry& entry, std::uint32_t due) {
  const std::string& command = entry.has.invalid_command;
  if (!command.empty()) return run(entry, new_run(entry, due, command), Side::closing);
  state(entry).side = RunState::closed;
  note(entry);
}

// ---- Runs ----

Run Commands::new_run(Entry& entry, std::uint32_t due, const std::string& command) {
  RunState& known = state(entry);
  if (known.next - known.first >= with_.settings.run_ledger_runs)
    with_.book.erase(Run::key_of(entry.id, known.first++));
  Run run{.key = Run::key_of(entry.id, known.next++), .due = due, .last = due, .command = command};
  note(entry);
  return run;
}

void Commands::run(Entry& entry, Run run, Side side) {
  const RunningProgram program{.mark = marks_ + std::to_string(run.key)};
  Programs::Order order;
  RunFate fate = RunFate::running;
  const std::string why = prepare(entry, run, side, program.mark, order, fate);
  if (!why.empty()) return not_run(entry, std::move(run), fate, why, side);
  start(entry, std::move(run), order, program, side);
}

// Why it cannot be run; empty when it can.
std::string Commands::prepare(Entry& entry, const Run& run, Side side, const std::string& mark, Programs::Order& order,
                              RunFate& fate) {
  fate = RunFate::refused;
  if (running_.size() >= with_.settings.jobs_at_once) {
    return std::to_string(running_.size()) + " commands ran, as many as JobsAtOnce allows";
  }
  std::string why;
  std::string program;
  if (side == Side::command) {
    if (entry.program.empty() || entry.folders != with_.settings.command_path) {
      entry.program = find_command(run.command, with_.settings.command_path, why);
      entry.folders = with_.settings.command_path;
    }
    program = entry.program;
  } else {
    program = find_command(run.command, with_.settings.command_path, why);
  }
  if (program.empty()) return why;
  fate = RunFate::failed;
  const OX_RESULT result =
      command_order(program, side == Side::command ? entry.has.argument : entry.has.invalid_argument,
                    {"OX_ENTRY=" + entry.name, "OX_DUE=" + std::to_string(run.due), mark}, order);
  order.limit = with_.settings.command_timeout;
  return result == OX_OK ? std::string() : "its argument: " + std::string(oxcStrError(result));
}

// It is in the ledger before it runs: whatever happens then, it is not started again.
void Commands::start(Entry& entry, Run run, const Programs::Order& order, RunningProgram program, Side side) {
  RunState& known = state(entry);
  run.start = static_cast<std::uint64_t>(with_.scheduler.clock().wall());
  known.last_start = with_.scheduler.now();
  if (side == Side::closing) known.side = RunState::closed;
  if (side == Side::command && has_ranges(entry.plan) && is_open(entry.plan, known.last_start)) {
    known.side = RunState::open;
  }
  with_.book.put(run);
  with_.book.put(run.key, program);
  std::string why = "its record cannot be written";
  if (with_.book.commit()) {
    Running& running = running_[run.key];
    platform::Error error = platform::error_quota;
    try {
      error = with_.programs.start(order, running.identity,
                                   [this, key = run.key](const Programs::End& end) { ended(key, end); });
    } catch (const std::bad_alloc&) {  // nothing runs then
    }
    if (error == platform::error_none) {
      program.process = running.identity.process;
      program.started = running.identity.started;
      with_.book.put(run.key, program);
      running.run = std::move(run);
      ++entry.running;
      return;
    }
    running_.erase(run.key);
    why = order.arguments.front() + ": " + error_text(error);
    entry.program.clear();
  }
  with_.book.ended(run.key);
  run.start = 0;
  not_run(entry, std::move(run), RunFate::failed, why, side);
}

// In place of a command that could not be started the other one is.
void Commands::not_run(Entry& entry, Run run, RunFate fate, const std::string& why, Side side) {
  run.what = fate;
  run.reason = why;
  with_.book.put(run);
  const std::string what = fate == RunFate::refused ? " was refused" : " could not be started";
  fail(entry, why);
  with_.warn("command entry " + entry.name + what, run.command + ": " + why);
  const std::string& other = entry.has.invalid_command;
  if (side == Side::command && !other.empty()) this->run(entry, new_run(entry, run.due, other), Side::in_place);
}

void Commands::ended(std::uint64_t key, const Programs::End& end) {
  auto node = running_.extract(key);
  if (node.empty()) return;
  Run& run = node.mapped().run;
  run.end = static_cast<std::uint64_t>(with_.scheduler.clock().wall());
  run.status = static_cast<std::uint32_t>(end.status);
  run.output = whole_output(end.output);
  run.what = run.start > std::uint64_t{run.due} * 1000 + still_in_time ? RunFate::late : RunFate::ran;
  if (end.killed) {
    run.what = RunFate::killed;
    run.reason = "it had run for " + std::to_string(with_.settings.command_timeout) + " seconds (CommandTimeout)";
  }
  with_.book.ended(key);
  Entry* const entry = find(run.entry());
  if (entry == nullptr) return;
  if ((key & 0xFFFFFFFF) >= state(*entry).first) with_.book.put(run);
  --entry->running;
  state(*entry).last_status = run.status;
  if (end.killed || end.status != 0) {
    const std::string why = end.killed ? "was killed: " + run.reason : "ended with " + std::to_string(end.status);
    fail(*entry, run.command + ' ' + why);
    with_.warn("command entry " + entry->name + " failed", run.command + ' ' + why);
  } else {
    state(*entry).failed = 0;
    state(*entry).last_error.clear();
    note(*entry);
  }
  auto put_off = std::exchange(entry->put_off, std::nullopt);
  if (!put_off || !entry->has.armed) return;
  put_off->what = RunFate::running;
  put_off->reason.clear();
  this->run(*entry, std::move(*put_off), Side::command);
}

void Commands::fail(Entry& entry, const std::string& why) {
  state(entry).failed = 1;
  state(entry).last_error = why;
  note(entry);
}

// ---- The manager begins and ends ----

void Commands::end_left_over(const std::map<std::uint64_t, RunningProgram>& running) {
  std::vector<platform::LeftOver> programs;
  for (const auto& [key, program] : running) programs.push_back({program.process, program.started, program.mark});
  if (platform::end_left_over(programs)) log(Severity::warning, "commands that the last manager had left were ended");
  const std::map<std::uint64_t, RunningProgram> all = running;
  for (const auto& [key, program] : all) {
    with_.book.ended(key);
    Run run;
    if (!with_.book.read(key, run)) continue;
    run.what = RunFate::lost;
    run.end = static_cast<std::uint64_t>(with_.scheduler.clock().wall());
    run.reason = "the manager died while it ran";
    with_.book.put(run);
    RunState& known = with_.book.states()[run.entry()];
    known.failed = 1;
    known.last_error = run.reason;
    with_.book.changed(run.entry());
    with_.warn("command entry " + known.name + " lost a run", run.command + ": " + run.reason);
  }
}

void Commands::end() {
  for (auto& [key, running] : running_) {
    running.run.what = RunFate::killed;
    running.run.reason = "the manager was ended";
    running.run.end = static_cast<std::uint64_t>(with_.scheduler.clock().wall());
    with_.book.put(running.run);
    with_.book.ended(key);
  }
  running_.clear();
  (void)with_.book.commit();
}

}  // namespace ox::manager
