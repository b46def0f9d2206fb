#include "manager/jobs/rounds.h"

#include <algorithm>
#include <asio/post.hpp>
#include <utility>

#include "manager/jobs/asking.h"
#include "manager/snmp/agent.h"
#include "manager/snmp/columns.h"

namespace ox::manager {
namespace {

// Of the interval of a round, and at the most so much, agents are asked.
constexpr std::int64_t spread = 10;
constexpr std::int64_t longest_spread = 30'000;
// Of what is done in a turn of the event loop, for which everybody waits.
constexpr std::chrono::milliseconds step_time{5};

std::int64_t span_of(const Period& interval) {
  const std::int64_t length =
      interval.seconds() != 0 ? interval.seconds() * std::int64_t{1000} : longest_spread * spread;
  return std::min(length / spread, longest_spread);
}

}  // namespace

Rounds::Rounds(const CollectorTools& tools, Ended ended)
    : tools_(tools), ended_(std::move(ended)), timer_(tools.clock.timer()) {}

std::shared_ptr<Round> Rounds::open_round(LogCollection& entry, std::uint32_t due) {
  const std::uint32_t number = tools_.series.begin_round(entry.filling->id, due * std::int64_t{1000});
  if (number == SeriesStore::no_round) {
    refuse(entry, due, tools_.series.is_refused() ? Gap::disk_full : Gap::overrun);
    return nullptr;
  }
  tell_refused(entry);
  const auto round = std::make_shared<Round>();
  round->filling = entry.filling;
  round->due = due;
  round->number = number;
  tools_.series.expect(entry.filling->id, round->number, entry.expected());
  ++entry.filling->opened;
  return round;
}

void Rounds::refuse(LogCollection& entry, std::uint32_t due, Gap why) {
  RefusedRounds& refused = entry.refused;
  if (refused.rounds == 0) refused.from = due;
  if (refused.rounds == 0) refused.gap = why;
  refused.to = due;
  ++refused.rounds;
  refused.values += entry.expected();
  refused_ += entry.expected();
  ++entry.failed;
}

void Rounds::tell_refused(LogCollection& entry) {
  const RefusedRounds told = std::exchange(entry.refused, {});
  if (told.rounds == 0) return;
  tools_.series.missed(entry.filling->id, told.from * std::int64_t{1000}, told.to * std::int64_t{1000}, told.rounds,
                       told.values, told.gap);
}

void Rounds::skip(const LogCollectionPtr& entry, std::uint32_t due, Gap gap) {
  const auto round = open_round(*entry, due);
  if (!round) return;
  round->failed = true;
  end_round(entry, round, gap);
}

void Rounds::begin(const LogCollectionPtr& entry, std::uint32_t due) {
  const auto round = open_round(*entry, due);
  if (!round) return;
  round->targets_left = entry->targets->size() + 1;  // the beginning counts as one
  const std::int64_t span = span_of(entry->settings.interval);
  const std::int64_t late = tools_.clock.wall() - due * std::int64_t{1000};
  const auto [wave, fresh] = waves_.try_emplace(due);
  if (fresh) wave->second = {tools_.clock.passed() - std::max<std::int64_t>(late, 0), span, {}};
  wave->second.span = std::min(wave->second.span, span);
  wave->second.cursors.push_back({entry, round, entry->targets});
  wait(0);
}

void Rounds::wait(std::int64_t milliseconds) {
  const std::int64_t until = tools_.clock.passed() + milliseconds;
  if (waiting_until_ != 0 && waiting_until_ <= until) return;
  waiting_until_ = until;
  timer_->wait(milliseconds, [this] {
    waiting_until_ = 0;
    go_on();
  });
}

void Rounds::go_on() {
  const auto until = std::chrono::steady_clock::now() + step_time;
  std::optional<std::int64_t> next;
  for (auto wave = waves_.begin(); wave != waves_.end();) {
    const auto rest = ask_due(wave->second, until);
    if (rest) next = std::min(next.value_or(*rest), *rest);
    wave = rest ? std::next(wave) : waves_.erase(wave);
  }
  if (next) wait(*next);
}

std::optional<std::int64_t> Rounds::ask_due(Wave& wave, std::chrono::steady_clock::time_point until) {
  for (;;) {
    std::erase_if(wave.cursors, [this](const Cursor& cursor) {
      if (cursor.at_end()) target_ended(cursor.entry, cursor.round);
      return cursor.at_end();
    });
    if (wave.cursors.empty()) return {};
    std::uint32_t first = 0xFFFFFFFF;
    for (const Cursor& cursor : wave.cursors) first = std::min(first, (*cursor.targets)[cursor.next]->offset);
    const std::int64_t moment = wave.due + (wave.span * first >> 32);
    const std::int64_t now = tools_.clock.passed();
    if (moment > now) return moment - now;
    if (std::chrono::steady_clock::now() >= until) return 0;
    lateness_ = now - moment;
    for (Cursor& cursor : wave.cursors) {
      while (!cursor.at_end() && (*cursor.targets)[cursor.next]->offset == first) {
        const std::shared_ptr<LogTarget> target = (*cursor.targets)[cursor.next++];
        ask(cursor, target);
      }
    }
  }
}

void Rounds::ask(const Cursor& cursor, const std::shared_ptr<LogTarget>& target) {
  const CollectedNames& names = *cursor.entry->names;
  target->rows.resize(names.columns.size());
  if (target->busy) {
    // A gap of this round must not come before a value of the one before; a probe that is under way is one of this
    // round, too.
    return target->overrun.push_back([this, cursor, target] {
      gap_all(cursor, *target, target->silent ? Gap::not_asked : Gap::overrun, 0);
      target_ended(cursor.entry, cursor.round);
    });
  }
  if (!target->there) {
    gap_all(cursor, *target, Gap::no_component, 0);
    note_failure(*cursor.entry, *target, names.selections.front().path, OX_ENOCOMP);
  } else {
    if (names.stored) read_stored(cursor, *target);
    if (names.slots() != 0 && target->name.type == "node") return ask_agent(cursor, target);
    // Only nodes have agents.
    for (std::size_t i = 0; i < names.instances.size(); ++i) {
      cursor.round->failed = true;
      (void)tools_.series.put_gap(cursor.round->filling->id, cursor.round->number,
                                  target->series_of(tools_.series, *cursor.round->filling, names, i), Gap::no_instance);
      note_failure(*cursor.entry, *target, names.path(i), OX_ENOSUCHVALUE);
    }
  }
  target_ended(cursor.entry, cursor.round);
}

void Rounds::ask_agent(const Cursor& cursor, const std::shared_ptr<LogTarget>& target) {
  const CollectedNames& names = *cursor.entry->names;
  Agent agent;
  if (const OX_RESULT result = agent_of(tools_.store, target->name, tools_.settings, agent)) {
    gap_all(cursor, *target, Gap::agent_error, result);
    note_failure(*cursor.entry, *target, names.path(0), result);
    return target_ended(cursor.entry, cursor.round);
  }
  const auto asking = std::make_shared<Asking>(
      Asking::Place{tools_.series, cursor.entry->names, cursor.round, target},
      [this, entry = cursor.entry](LogTarget& of, const Oid& path, OX_RESULT code) {
        note_failure(*entry, of, path, code);
      },
      [this, entry = cursor.entry, round = cursor.round, target, moment = tools_.clock.passed() - lateness_] {
        target->took = tools_.clock.passed() - moment;
        target_ended(entry, round);
        for (const auto& tell : std::exchange(target->overrun, {})) tell();
      });
  asking->start(tools_.asker, agent);
}

// Values that the manager has itself. What is missing now is not counted as due.
void Rounds::read_stored(const Cursor& cursor, LogTarget& target) {
  const Values* const values = tools_.store.values(target.name);
  if (values == nullptr) return;
  target.stored = 0;
  std::optional<std::uint32_t> reading;
  const auto put = [&](const Oid& path, const Value& value) {
    const Filling& filling = *cursor.round->filling;
    const std::uint32_t round = cursor.round->number;
    if (!reading) {
      const std::uint32_t number = target.number(tools_.series, filling);
      reading = tools_.series.add_reading(filling.id, round, number, tools_.clock.wall(), {});
    }
    const auto [leaf, item] = leaf_and_instance(path);
    (void)tools_.series.put(filling.id, round, target.series_of(tools_.series, filling, leaf, item), *reading,
                            value.type, std::as_bytes(std::span(value.bytes)));
    ++target.stored;
  };
  for (const Selection& selection : cursor.entry->names->selections) {
    if (selection.error != OX_OK) continue;
    for (auto value = values->lower_bound(selection.path);
         value != values->end() && is_under(value->first, selection.path); ++value) {
      if (selection.covers(value->first) && is_readable(value->first)) put(value->first, value->second);
    }
    for (const Figure& figure : tools_.figures.ask({target.name, selection.path, {}})) {
      if (selection.covers(figure.path)) put(figure.path, value_of(figure));
    }
  }
}

void Rounds::gap_all(const Cursor& cursor, LogTarget& target, Gap gap, std::uint32_t code) {
  cursor.round->failed = true;
  Asking::gap_all({tools_.series, cursor.entry->names, cursor.round, {}}, target, gap, code);
}

// Told once, when it begins.
void Rounds::note_failure(const LogCollection& entry, LogTarget& target, const Oid& path, OX_RESULT code) {
  if (code == OX_ENOANSWER || code == OX_ENOCOMP || code == OX_EMISSING) {
    // All of it fails alike, in any order.
    const Oid& first = entry.names->slots() != 0 ? entry.names->path(0) : path;
    if (!std::exchange(target.silent, true)) tell_failure(entry, target, oid_text(first), code);
    return;
  }
  std::string text = oid_text(path);
  if (target.failing.insert(text).second) tell_failure(entry, target, text, code);
}

void Rounds::tell_failure(const LogCollection& entry, const LogTarget& target, const std::string& path,
                          OX_RESULT code) {
  const std::string line =
      "ERROR " + std::to_string(code) + " \"" + entry.name.name + "\" \"" + target.text + "\" " + path;
  const Change told = text_change(Store::built_in_name(), collection_error_path, line);
  tools_.tell(std::span(&told, 1));
}

void Rounds::target_ended(const LogCollectionPtr& entry, const std::shared_ptr<Round>& round) {
  if (--round->targets_left == 0) end_round(entry, round, Gap::no_answer);
}

void Rounds::end_round(const LogCollectionPtr& entry, const std::shared_ptr<Round>& round, Gap rest) {
  tools_.series.end_round(round->filling->id, round->number, rest);
  --round->filling->opened;
  tools_.series.when_safe([this, entry, round](OX_RESULT result) {
    if (result == OX_OK) ended_(entry, *round);
  });
}

}  // namespace ox::manager
