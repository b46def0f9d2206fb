// Gaps that follow one another in a series, for the same reason: a row of the ledger.
#pragma once

#include <array>
#include <vector>

#include "manager/series/kept_entry.h"

namespace ox::manager {

using DueTimes = std::array<std::int64_t, rounds_of_segment>;  // of the rounds of a segment, milliseconds since 1970
[[nodiscard]] DueTimes due_times(const Segment& segment);

// Goes on with a run through the cells that a series has in a segment; `ended` gets those that end. What is left goes
// on in the next segment; it has no rounds when there is none.
template <class Ended>
void follow_gaps(GapRun& run, const std::vector<Cell>& cells, const DueTimes& due, const SeriesKey& series,
                 const Ended& ended) {
  for (const Cell& cell : cells) {
    const bool gap = cell.form == Cell::gap;
    if (run.rounds != 0 && (!gap || run.status != cell.status)) {
      ended(run);
      run = {};
    }
    if (!gap) continue;
    const std::int64_t at = due[cell.place % rounds_of_segment];
    if (run.rounds == 0) run = {0, series, cell.status, at, at, 0, 0};
    run.last = at;
    ++run.rounds;
    ++run.values;
  }
}

}  // namespace ox::manager
