// What the store knows of one data entry.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>

#include "manager/series/entry.h"
#include "manager/storage/database.h"

namespace ox::manager {

using EntryId = std::uint32_t;  // 0: none

// A run of gaps of one series, a row of the ledger.
struct GapRun {
  std::uint64_t row = 0;
  SeriesKey series{};
  std::uint32_t status = 0;
  std::int64_t first = 0;  // due times, milliseconds since 1970
  std::int64_t last = 0;
  std::uint64_t rounds = 0;
  std::uint64_t values = 0;
};

enum class EntryState : std::uint32_t {
  open = 1,
  closing = 2,  // closed, and not all of it in blocks
  closed = 3,
  removed = 4,  // what it has is going
  copying = 5,  // what it is to have is coming
};

// Of the segments that are in blocks.
struct Books {
  Counts counts{};
  std::uint32_t rounds = 0;  // none below that one is anywhere else
  std::int64_t last_due = 0;
};

struct KeptEntry {
  EntryId id = 0;
  std::string name{};
  std::string owner{};
  EntryState state = EntryState::open;
  Books books{};
  std::uint32_t safe_rounds = 0;            // have ended, and are in the database
  std::uint32_t final_rounds = UINT32_MAX;  // of a closed one
  std::uint64_t gap_rows = 0;
  bool row_is_due = true;              // its row in the database is not what it is
  std::unique_ptr<OpenEntry> cells{};  // null when all of them are in blocks
  // Of the layout, what is in the database, and what this turn has put there.
  std::array<std::size_t, axis_count> written_items{};
  std::array<std::size_t, axis_count> put_items{};
  std::size_t written_series = 0;
  std::size_t put_series = 0;
  std::uint64_t put_staged = 0;                                  // the row of this turn
  std::deque<std::pair<std::uint64_t, std::uint32_t>> staged{};  // rows, with their segments
  std::unordered_map<std::uint32_t, GapRun> runs{};              // that reach to the last block, by series
};

// Its row, as it is with those books.
void put_entry_row(Database& database, const KeptEntry& entry, const Books& books);

}  // namespace ox::manager
