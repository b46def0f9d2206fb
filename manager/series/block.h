// A block: the cells that one series has in a segment of rounds, packed. docs/files.md has its bytes.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "manager/series/cell.h"

namespace ox::manager {

// Packs cells, of which there are some, in the order of their places. What it works with is kept for the next one.
class BlockWriter {
 public:
  void write(const std::vector<Cell>& cells, Bytes& out);

 private:
  void put_numbers(const std::vector<Cell>& cells, Bytes& out);
  std::vector<std::uint64_t> column_;
};

// Unpacks a block; the bytes of its cells lie in it. False for what is no block, of cells in the order of places below
// `places`.
class BlockReader {
 public:
  [[nodiscard]] bool read(std::span<const std::byte> block, std::uint32_t places, std::vector<Cell>& cells);

 private:
  void take_places(ByteCursor& in, std::uint8_t flags, std::uint64_t first, std::vector<Cell>& cells);
  void take_kinds(ByteCursor& in, std::uint8_t flags, std::vector<Cell>& cells);
  void take_values(ByteCursor& in, std::vector<Cell>& cells);
  std::vector<std::uint64_t> column_;
};

}  // namespace ox::manager
