// A full segment on its way into blocks: series by series, in steps, so that nobody waits for it.
//
// Until the last step is safe its cells stay staged: what the death of the manager interrupts is done again.
#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "manager/series/block.h"
#include "manager/series/gap_runs.h"
#include "manager/series/kept_entry.h"
#include "manager/storage/database.h"

namespace ox::manager {

class Sealing {
 public:
  // Of the entry's full segment, all of whose rounds have ended. The chunk's number is new.
  Sealing(KeptEntry& entry, Database& database, std::uint64_t chunk);

  // Writes blocks until that time, one at least; behind the last the chunk, the books and the ledger.
  void step(std::chrono::steady_clock::time_point until);
  // What has been written is safe, or has to be written again.
  void ended(bool safe);
  [[nodiscard]] bool done() const { return safe_.all; }
  [[nodiscard]] EntryId entry() const { return entry_.id; }
  [[nodiscard]] std::uint64_t chunk() const { return chunk_; }

 private:
  // How far it has come.
  struct Progress {
    std::size_t series = 0;
    std::uint64_t cells = 0;
    std::uint64_t gap_rows = 0;
    bool all = false;
  };

  [[nodiscard]] const Segment& segment() const { return *entry_.cells->full(); }
  void seal(std::uint32_t series);
  void add_gaps(std::uint32_t series);
  void put_run(GapRun& run);
  void finish();
  void put_missed();
  [[nodiscard]] Books books_after() const;

  KeptEntry& entry_;
  Database& database_;
  std::uint64_t chunk_;
  DueTimes due_;
  Progress now_;
  Progress safe_;
  std::vector<Cell> cells_;
  BlockWriter writer_;
  Bytes block_;
  std::vector<std::pair<std::uint32_t, GapRun>> runs_;  // of this step
  std::vector<std::uint32_t> ended_runs_;
};

}  // namespace ox::manager
