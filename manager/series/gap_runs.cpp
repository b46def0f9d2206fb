#include "manager/series/gap_runs.h"

#include <set>

#include "manager/series/keys.h"
#include "manager/series/store.h"

namespace ox::manager {
namespace {

std::int64_t signed_number(const Row& row, int column) { return static_cast<std::int64_t>(row.number(column)); }

}  // namespace

DueTimes due_times(const Segment& segment) {
  DueTimes due{};
  std::vector<Cell> cells;
  if (segment.tails.empty() || !read_cells(segment.tails[round_series].bytes, cells)) return due;
  for (const Cell& cell : cells) due[cell.place % rounds_of_segment] = static_cast<std::int64_t>(cell.number);
  return due;
}

// What is in no block yet: the runs of the series that have gaps there, each from where the database has it.
void SeriesStore::open_runs(const Entry& kept, const EntryView& view, const std::function<void(const GapRun&)>& take) {
  const OpenEntry& open = *kept.cells;
  std::vector<const Segment*> segments;
  if (open.full()) segments.push_back(&*open.full());
  segments.push_back(&open.filling());
  std::vector<DueTimes> due;
  for (const Segment* const segment : segments) due.push_back(due_times(*segment));
  CellsOfSegment here;
  for (std::uint32_t series = 0; series < view.series; ++series) {
    const bool gaps = std::any_of(segments.begin(), segments.end(), [&](const Segment* segment) {
      return series < segment->tails.size() && segment->tails[series].has_gaps;
    });
    if (!gaps) continue;
    const auto known = kept.runs.find(series);
    GapRun run = known != kept.runs.end() ? known->second : GapRun{};
    for (std::size_t i = 0; i < segments.size(); ++i) {
      if (series >= segments[i]->tails.size() || segments[i]->tails[series].bytes.empty()) continue;
      if (!cells_of(view, segments[i]->number, series, here)) continue;
      follow_gaps(run, here.cells, due[i], view.layout->all_series()[series], take);
    }
    if (run.rounds != 0) take(run);
  }
  for (const Missed& missed : open.missed()) {
    take({0, {all_items, all_items, all_items}, missed.status, missed.from, missed.to, missed.rounds, missed.values});
  }
}

void SeriesStore::gap_runs(const EntryView& view, std::uint32_t from, std::uint32_t to,
                           const std::function<void(const GapRun&)>& take) {
  const auto take_inside = [&](const GapRun& run) {
    const bool inside = run.last / 1000 >= from && (to == 0 || run.first / 1000 <= to);
    if (inside) take(run);
  };
  std::set<std::uint64_t> newer;  // rows that are no longer what they are
  const Entry* const kept = entry(view.id);
  if (kept == nullptr) return;
  if (kept->cells) {
    open_runs(*kept, view, [&](const GapRun& run) {
      if (run.row != 0) newer.insert(run.row);
      take_inside(run);
    });
  }
  (void)gap_query_.rows(
      [&](const Row& row) {
        const std::uint64_t number = row.number(0) - gap_key(view.id, 0);
        if (!newer.contains(number)) {
          take_inside({number,
                       {row.word(1), row.word(2), row.word(3)},
                       row.word(4),
                       signed_number(row, 5),
                       signed_number(row, 6),
                       row.number(7),
                       row.number(8)});
        }
        return true;
      },
      gap_key(view.id, 0), gap_key(view.id + 1, 0));
}

}  // namespace ox::manager
