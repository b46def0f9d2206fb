// The way past rows that do not read.
#pragma once

#include <cstdint>
#include <optional>

namespace ox::manager {

// The first key behind `bad` from which on rows read, as `reads(key)` tells; nothing when there is none.
template <class Reads>
[[nodiscard]] std::optional<std::uint64_t> next_readable(std::uint64_t bad, const Reads& reads) {
  constexpr std::uint64_t longest = std::uint64_t{1} << 61;
  std::uint64_t step = 1;
  while (!reads(bad + step)) {
    if (step == longest) return {};
    step *= 2;
  }
  std::uint64_t good = bad + step;
  bad += step / 2;
  while (good - bad > 1) {
    const std::uint64_t middle = bad + (good - bad) / 2;
    (reads(middle) ? good : bad) = middle;
  }
  return good;
}

}  // namespace ox::manager
