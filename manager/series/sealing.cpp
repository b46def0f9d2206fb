#include "manager/series/sealing.h"

#include <algorithm>

#include "manager/series/collected_file.h"
#include "manager/series/keys.h"

namespace ox::manager {
namespace {

using Tables = CollectedTables;
using Clock = std::chrono::steady_clock;

constexpr std::size_t series_of_look = 16;  // at the clock

}  // namespace

Sealing::Sealing(KeptEntry& entry, Database& database, std::uint64_t chunk)
    : entry_(entry), database_(database), chunk_(chunk), due_(due_times(segment())) {
  now_.gap_rows = safe_.gap_rows = entry.gap_rows;
}

void Sealing::step(Clock::time_point until) {
  const std::size_t all = segment().tails.size();
  while (now_.series < all) {
    seal(static_cast<std::uint32_t>(now_.series));
    if (++now_.series % series_of_look == 0 && Clock::now() >= until) break;
  }
  if (now_.series >= all) finish();
}

void Sealing::seal(std::uint32_t series) {
  cells_.clear();
  (void)read_cells(segment().tails[series].bytes, cells_);
  add_gaps(series);
  if (cells_.empty()) return;
  block_.clear();
  writer_.write(cells_, block_);
  database_.put(Tables::blocks, block_key(chunk_, series), std::uint64_t{cells_.size()},
                std::span<const std::byte>(block_));
  now_.cells += cells_.size();
}

// A run goes on from the segment before when its series has not had another cell since.
void Sealing::add_gaps(std::uint32_t series) {
  const auto known = entry_.runs.find(series);
  GapRun run = known != entry_.runs.end() ? known->second : GapRun{};
  const std::uint64_t before = run.rounds;
  const auto put = [&](GapRun& one) {
    if (one.row == 0 || one.rounds != before) put_run(one);
  };
  follow_gaps(run, cells_, due_, entry_.cells->layout().all_series()[series], put);
  if (run.rounds != 0) {
    put(run);
    runs_.emplace_back(series, run);
  } else if (known != entry_.runs.end()) {
    ended_runs_.push_back(series);
  }
}

void Sealing::put_run(GapRun& run) {
  if (run.row == 0) run.row = ++now_.gap_rows;
  database_.put(Tables::gaps, gap_key(entry_.id, run.row), std::uint64_t{run.series.component},
                std::uint64_t{run.series.amib}, std::uint64_t{run.series.item}, std::uint64_t{run.status},
                bits_of(run.first), bits_of(run.last), run.rounds, run.values);
}

void Sealing::put_missed() {
  for (const Missed& missed : entry_.cells->missed()) {
    if (missed.segment > segment().number) continue;
    GapRun run{
        0, {all_items, all_items, all_items}, missed.status, missed.from, missed.to, missed.rounds, missed.values};
    put_run(run);
  }
}

void Sealing::finish() {
  put_missed();
  const Counts& counts = segment().counts;
  database_.put(Tables::chunks, chunk_key(entry_.id, segment().number), chunk_, std::uint64_t{now_.series}, now_.cells,
                counts.bytes);
  put_entry_row(database_, entry_, books_after());
  now_.all = true;
}

Books Sealing::books_after() const {
  Books after = entry_.books;
  const Counts& counts = segment().counts;
  after.counts.due += counts.due;
  after.counts.stored += counts.stored;
  after.counts.gaps += counts.gaps;
  after.counts.bytes += counts.bytes;
  after.counts.lost = entry_.cells->counts().lost;
  after.rounds = (segment().number + 1) * rounds_of_segment;
  for (const std::int64_t due : due_) after.last_due = std::max(after.last_due, due);
  return after;
}

void Sealing::ended(bool safe) {
  if (!safe) {
    now_ = safe_;
    runs_.clear();
    ended_runs_.clear();
    return;
  }
  for (const std::uint32_t series : ended_runs_) entry_.runs.erase(series);
  for (const auto& [series, run] : runs_) entry_.runs[series] = run;
  runs_.clear();
  ended_runs_.clear();
  for (std::size_t i = safe_.series; i < now_.series; ++i) entry_.cells->forget_cells(static_cast<std::uint32_t>(i));
  safe_ = now_;
  entry_.gap_rows = now_.gap_rows;
  if (!now_.all) return;
  entry_.books = books_after();
  entry_.cells->forget_full();
}

}  // namespace ox::manager
