// Looking at what an entry has: its cells, segment by segment and series by series, a block at a time in memory.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

#include "manager/series/block.h"
#include "manager/series/kept_entry.h"

namespace ox::manager {

class SeriesStore;

// Cells of one series in a segment. Their bytes lie here.
struct CellsOfSegment {
  std::vector<Cell> cells;
  Bytes bytes;
};

// An entry as it was when somebody began to look: rounds that end later are not seen.
struct EntryView {
  EntryId id = 0;
  std::shared_ptr<const Layout> layout;
  std::size_t series = 0;  // of the layout, as are the items
  std::array<std::size_t, axis_count> items{};
  std::uint32_t rounds = 0;
  std::uint32_t first_segment = 0;    // those before it are not looked at
  std::vector<std::uint64_t> chunks;  // of each segment from there on that is in blocks; 0 for a lost one
  std::uint64_t lost = 0;             // known to be

  [[nodiscard]] bool has_chunks_of(std::uint32_t segment) const { return segment < first_segment + chunks.size(); }
  [[nodiscard]] std::uint64_t chunk_of(std::uint32_t segment) const {
    return segment >= first_segment && has_chunks_of(segment) ? chunks[segment - first_segment] : 0;
  }
};

// Goes through the cells of some rounds.
class CellCursor {
 public:
  // From a round to the one before `to`; all series, or one of them.
  CellCursor(SeriesStore& store, std::shared_ptr<const EntryView> view, std::uint32_t from, std::uint32_t to);
  CellCursor(SeriesStore& store, std::shared_ptr<const EntryView> view, std::uint32_t from, std::uint32_t to,
             std::uint32_t series);

  // Null behind the last one. Its place is its round. It is valid until the next.
  [[nodiscard]] const Cell* next();
  [[nodiscard]] std::uint32_t series() const { return series_; }
  // Something that should have come has not: it is damaged, or the entry is gone.
  [[nodiscard]] bool lost() const { return lost_; }

 private:
  [[nodiscard]] bool next_block();
  void read_block();

  SeriesStore& store_;
  std::shared_ptr<const EntryView> view_;
  std::uint32_t from_;
  std::uint32_t to_;
  std::uint32_t first_series_ = 0;
  std::uint32_t last_series_;
  std::uint32_t segment_;
  std::uint32_t series_ = 0;
  bool begun_ = false;
  bool lost_ = false;
  CellsOfSegment block_;
  std::size_t at_ = 0;
};

}  // namespace ox::manager
