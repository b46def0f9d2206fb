// A data entry that is being filled: its rounds, the cells that no block holds yet, and the books.
//
// Every operation is laid out as bytes beside: they are what is staged in the database, and what makes the entry again
// when it is read (apply). Rounds are counted from 0 on; so many of them make a segment, whose cells become one chunk
// of blocks when all its rounds have ended and another one has begun.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "manager/series/cell.h"
#include "manager/series/layout.h"

namespace ox::manager {

inline constexpr std::uint32_t rounds_of_segment = 128;
[[nodiscard]] constexpr std::uint32_t segment_of(std::uint32_t round) { return round / rounds_of_segment; }

// What was due is stored, or it is a gap, or its round is still open.
struct Counts {
  std::uint64_t due = 0;
  std::uint64_t stored = 0;
  std::uint64_t gaps = 0;
  std::uint64_t bytes = 0;  // of the values as items
  std::uint64_t open = 0;   // due in rounds that have not ended
  std::uint64_t lost = 0;   // what damage has taken, as far as it is known
  [[nodiscard]] bool balanced() const { return due == stored + gaps + open; }
};

// The cells of a series in a segment, one after the other.
struct Tail {
  Bytes bytes{};
  CellState state{};
  bool has_gaps = false;
};

struct Segment {
  std::uint32_t number = 0;
  std::vector<Tail> tails{};
  Counts counts{};
};

// Rounds that never began.
struct Missed {
  std::uint32_t segment = 0;  // in which they are told
  std::int64_t from = 0;      // due times of the first and the last, milliseconds since 1970
  std::int64_t to = 0;
  std::uint64_t rounds = 0;
  std::uint64_t values = 0;
  std::uint32_t status = 0;
};

struct Applying;

class OpenEntry {
 public:
  // Beginning at that round, with the books as they were before it.
  OpenEntry(std::shared_ptr<Layout> layout, std::uint32_t first_round, const Counts& before);

  // The round is due then (milliseconds since 1970), with so many values.
  [[nodiscard]] std::uint32_t begin_round(std::int64_t due);
  void expect(std::uint32_t round, std::uint32_t values);
  // An answer of the component's agent: when it was read, and what the agent's clock said. Its number in the round.
  [[nodiscard]] std::uint32_t add_reading(std::uint32_t round, std::uint32_t component, std::int64_t read_at,
                                          std::optional<std::uint32_t> uptime);
  // False when the series has a cell of this round or a later one, or the round is not open.
  [[nodiscard]] bool put(std::uint32_t round, std::uint32_t series, Cell cell);
  // What has not come in the round is a gap of that kind.
  void end_round(std::uint32_t round, std::uint32_t status);
  void add_missed(Missed missed);

  // Does what staged bytes say, but for rounds that are in blocks. What does not read, or has no round any more, is
  // lost.
  void apply(std::span<const std::byte> staged);
  // What has been laid out since it was last cleared, and the newest segment that it is about.
  [[nodiscard]] const Bytes& laid_out() const { return laid_out_; }
  void clear_laid_out();
  // Bytes that are none of its cells.
  void add_bytes(std::uint64_t bytes) { counts_.bytes += bytes; }

  [[nodiscard]] Layout& layout() { return *layout_; }
  [[nodiscard]] const std::shared_ptr<Layout>& shared_layout() const { return layout_; }
  [[nodiscard]] const Counts& counts() const { return counts_; }
  [[nodiscard]] std::uint32_t next_round() const { return next_round_; }
  // All rounds before that one have ended.
  [[nodiscard]] std::uint32_t ended_rounds() const;
  [[nodiscard]] std::int64_t last_due() const { return last_due_; }
  [[nodiscard]] const std::vector<Missed>& missed() const { return missed_; }

  // Segments whose cells are here: the one that is being filled, and before it one that is to become blocks.
  [[nodiscard]] const Segment& filling() const { return filling_; }
  [[nodiscard]] const std::optional<Segment>& full() const { return full_; }
  [[nodiscard]] bool full_has_ended() const;
  // Nothing more comes: what is being filled is full. False when there is nothing.
  [[nodiscard]] bool fill_up();
  // The full segment is in the database, with what was missed in it; before that, the cells of some of its series are.
  void forget_full();
  void forget_cells(std::uint32_t series) { full_->tails[series] = {}; }

 private:
  struct OpenRound {
    std::int64_t due_at = 0;
    std::uint64_t due = 0;
    std::uint64_t got = 0;
    std::vector<std::uint32_t> readings{};  // so many, of each component
  };

  void add_round(std::uint32_t round, std::int64_t due);
  void add_cell(std::uint32_t round, std::uint32_t series, Cell cell);
  void add_cell(std::uint32_t round, std::uint32_t series, Cell cell, Tail& tail);
  void add_due(std::uint32_t round, std::uint32_t values);
  void finish_round(std::uint32_t round, std::uint32_t status);
  void count_missed(const Missed& missed);
  [[nodiscard]] Segment& segment_for(std::uint32_t round);
  [[nodiscard]] bool accepts(std::uint32_t round, std::uint32_t series) const;
  void lay_out_round(std::uint32_t round);
  [[nodiscard]] Tail& tail_for(std::uint32_t round, std::uint32_t series, const Cell& cell);
  void apply_one(ByteCursor& in, Applying& at);
  void apply_round(std::uint8_t word, ByteCursor& in, Applying& at);
  void apply_cell(std::uint8_t first, ByteCursor& in, Applying& at);
  void apply_missed(ByteCursor& in);
  void start_segment(std::uint32_t number);

  std::shared_ptr<Layout> layout_;
  std::uint32_t first_round_;  // of those that are not in blocks
  std::uint32_t next_round_;
  std::int64_t last_due_ = 0;
  Counts counts_;
  std::map<std::uint32_t, OpenRound> open_;
  Segment filling_;
  std::optional<Segment> full_;
  std::vector<Missed> missed_;
  Bytes laid_out_;
  CellState laid_state_;
  std::optional<std::uint32_t> laid_round_;
};

}  // namespace ox::manager
