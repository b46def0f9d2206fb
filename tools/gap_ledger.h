// What was due and is not there, as the manager keeps it of a log entry.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/collected.h"

namespace tool {

// A run of rounds that lack values for one reason; "*" for all attributes or indexes.
struct GapRow {
  std::string component, attribute, index, reason;
  std::uint32_t from = 0, to = 0;
  std::uint64_t rounds = 0, values = 0;
};

// The runs of a window, oldest first; of the newest 5,000. Throws Failure.
[[nodiscard]] std::vector<GapRow> gap_rows(const char* manager, const std::string& log_entry, const Window& window,
                                           const Choice& choice);

// Runs of one reason become one row, the most values first: a silent agent has a run for each time that it was asked
// again.
[[nodiscard]] std::vector<GapRow> summed(const std::vector<GapRow>& gaps);

}  // namespace tool
