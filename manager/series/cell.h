// One value of one series in one round, or why there is none; and the form of cells that stand one after the other.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "manager/series/gap.h"
#include "manager/series/varint.h"

namespace ox::manager {

struct Cell {
  enum Form : std::uint8_t { gap = 0, four_bytes = 1, eight_bytes = 2, other_bytes = 3 };
  std::uint32_t place = 0;    // the round, or the series
  std::uint32_t reading = 0;  // which of the component's answers in this round it came with
  std::uint32_t type = 0;     // value type; of a gap 0
  std::uint32_t status = 0;
  Form form = gap;
  std::uint64_t number = 0;            // of four and of eight bytes in network order, the former without sign
  std::span<const std::byte> bytes{};  // others

  // The cell of a value in its stored form.
  [[nodiscard]] static Cell of(std::uint32_t type, std::span<const std::byte> value);
  [[nodiscard]] bool is_number() const { return form == four_bytes || form == eight_bytes; }
  [[nodiscard]] std::uint32_t length() const;  // of the value
  void append_value(Bytes& out) const;
};

// What a cell is told from.
struct CellState {
  std::uint32_t place = 0xFFFFFFFF;  // 0 comes next
  std::uint32_t reading = 0;
  std::uint32_t type = 0;
  std::uint64_t number = 0;
};

inline constexpr std::uint8_t cell_mark = 0x80;  // the highest bit of a cell's first byte

// A cell's first byte: its form, and which of the fields that follow it are there; the bit 0x80 is set.
void put_cell(Bytes& out, CellState& state, const Cell& cell);
// The rest of a cell whose first byte has been read. Its bytes lie in those of the cursor.
[[nodiscard]] Cell take_cell(std::uint8_t first, ByteCursor& in, CellState& state);

// The cells of a series, one after the other, as put_cell has laid them out. False when that is not what they are.
[[nodiscard]] bool read_cells(std::span<const std::byte> bytes, std::vector<Cell>& cells);

}  // namespace ox::manager
