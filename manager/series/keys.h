// The keys of the tables of collected data: what belongs together lies together.
#pragma once

#include <cstdint>

#include "manager/series/layout.h"

namespace ox::manager {

// An item of an axis: the entry, the axis, the number.
[[nodiscard]] constexpr std::uint64_t item_key(std::uint32_t entry, std::size_t axis, std::uint64_t number) {
  return std::uint64_t{entry} << 34 | std::uint64_t{axis} << 32 | number;
}
// A series, a segment's chunk: the entry, the number.
inline constexpr int number_bits = 24;
[[nodiscard]] constexpr std::uint64_t series_key(std::uint32_t entry, std::uint64_t number) {
  return std::uint64_t{entry} << number_bits | number;
}
[[nodiscard]] constexpr std::uint64_t chunk_key(std::uint32_t entry, std::uint32_t segment) {
  return series_key(entry, segment);
}
// A block: the chunk, the series. Chunks are numbered in the order in which they were made: blocks are only appended.
[[nodiscard]] constexpr std::uint64_t block_key(std::uint64_t chunk, std::uint64_t series) {
  return chunk << number_bits | series;
}
// A run of gaps: the entry, the number of the run.
[[nodiscard]] constexpr std::uint64_t gap_key(std::uint32_t entry, std::uint64_t number) {
  return std::uint64_t{entry} << 34 | number;
}

}  // namespace ox::manager
