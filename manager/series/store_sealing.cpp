// How full segments become blocks while the manager goes on, in steps.
#include <chrono>

#include "manager/base/log.h"
#include "manager/series/store.h"

namespace ox::manager {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto hurried_step = std::chrono::milliseconds(4);
constexpr int hurried_steps = 4;
constexpr std::size_t rows_of_look = 64;  // at the clock

}  // namespace

void SeriesStore::start_sealing() {
  while (!sealing_ && !to_seal_.empty()) {
    const EntryId id = *to_seal_.begin();
    Entry* const full = entry(id);
    if (full != nullptr && full->cells && full->cells->full_has_ended()) {
      sealing_ = std::make_unique<Sealing>(*full, file_.database(), last_chunk_ + 1);
      ++last_chunk_;
    }
    to_seal_.erase(id);
  }
}

// When there is more to do, the next turn goes on.
void SeriesStore::seal_on() {
  step_.emplace(pace_);
  const auto until = in_a_hurry_ ? Clock::now() + hurried_step : step_->until();
  start_sealing();
  if (sealing_) return sealing_->step(until);
  erase_on(until);
  if (erased_ == to_erase_.size()) remove_on(until);
}

void SeriesStore::erase_on(Clock::time_point until) {
  while (erased_ < to_erase_.size() && (erased_ % rows_of_look != 0 || Clock::now() < until)) {
    file_.database().erase(CollectedTables::staged, to_erase_[erased_++]);
  }
}

void SeriesStore::sealed(bool safe) {
  step_.reset();
  const std::size_t erased = std::exchange(erased_, 0);
  if (safe) to_erase_.erase(to_erase_.begin(), to_erase_.begin() + static_cast<std::ptrdiff_t>(erased));
  if (sealing_) {
    sealing_->ended(safe);
    if (sealing_->done()) {
      Entry& done = *entry(sealing_->entry());
      sealing_.reset();
      while (!done.staged.empty() && done.staged.front().second < segment_of(done.books.rounds)) {
        to_erase_.push_back(done.staged.front().first);
        done.staged.pop_front();
      }
      changed(done.id);
    }
  }
  removed(safe);
  const bool more = sealing_ || !to_seal_.empty() || !to_erase_.empty() || removal_ || !to_remove_.empty();
  if (safe && more) file_.schedule();
}

// What is closed is in blocks, segment by segment, and then nothing of it is in memory.
void SeriesStore::go_on_closing(Entry& kept) {
  if (!kept.cells) return;
  if (kept.cells->full()) {
    if (kept.cells->full_has_ended() && (!sealing_ || sealing_->entry() != kept.id)) {
      to_seal_.insert(kept.id);
      file_.schedule();
    }
    return;
  }
  if (kept.state != State::closing) return;
  if (kept.cells->fill_up()) return changed(kept.id);
  kept.state = State::closed;
  kept.row_is_due = true;
  kept.cells.reset();
  kept.runs.clear();
  changed(kept.id);
}

// A round that begins another segment needs the one before the last to be in blocks. False when that takes too long, or
// the disk does not let it.
bool SeriesStore::make_way(Entry& kept) {
  OpenEntry& cells = *kept.cells;
  if (segment_of(cells.next_round()) == cells.filling().number || !cells.full()) return true;
  for (std::uint32_t round = cells.ended_rounds(); segment_of(round) == cells.full()->number; ++round) {
    cells.end_round(round, status_word(Gap::overrun));
  }
  in_a_hurry_ = true;
  for (int i = 0; i < hurried_steps && cells.full(); ++i) {
    changed(kept.id);
    file_.commit();
  }
  in_a_hurry_ = false;
  return !cells.full();
}

void SeriesStore::remove(EntryId id) {
  Entry* const gone = entry(id);
  if (gone == nullptr || gone->state == State::removed) return;
  if (sealing_ && sealing_->entry() == id) sealing_.reset();
  to_seal_.erase(id);
  for (const auto& [row, segment] : gone->staged) to_erase_.push_back(row);
  by_name_.erase(gone->name);
  gone->state = State::removed;
  gone->row_is_due = true;
  gone->cells.reset();
  changed(id);
  to_remove_.insert(id);
}

void SeriesStore::remove_others(const std::function<bool(const std::string&)>& has) {
  const auto names = by_name_;
  for (const auto& [name, id] : names) {
    if (!has(name)) remove(id);
  }
}

// Its row has told that it goes since the turn before.
void SeriesStore::remove_on(std::chrono::steady_clock::time_point until) {
  while (!removal_ && !to_remove_.empty()) {
    const EntryId id = *to_remove_.begin();
    if (entries_.at(id).row_is_due) return;
    removal_ = std::make_unique<Removal>(id, file_.database());
  }
  if (removal_) removal_->step(until);
}

void SeriesStore::removed(bool safe) {
  if (!removal_) return;
  removal_->ended(safe);
  if (!removal_->done()) return;
  removal_.reset();
  entries_.erase(*to_remove_.begin());
  to_remove_.erase(to_remove_.begin());
}

}  // namespace ox::manager
