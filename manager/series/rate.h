// What a counter has done between two looks at it.
#pragma once

#include <cstdint>
#include <optional>

#include "manager/series/cell.h"

namespace ox::manager {

// Status words of differences, beside 0 for an ordinary one.
inline constexpr std::uint32_t wrapped = 0x00100000;    // the counter began anew
inline constexpr std::uint32_t restarted = 0x00110000;  // the agent did; there is no difference
inline constexpr std::uint32_t implausible =
    0x00120000;  // it went back, or on by more than half its range; none either

// When a value was read.
struct ReadAt {
  std::int64_t at = 0;                    // milliseconds since 1970
  std::optional<std::uint32_t> uptime{};  // the agent's own clock, hundredths of seconds
};

struct Difference {
  std::uint32_t status = 0;
  double amount = 0;
  double seconds = 0;
};

// The number that a cell is: of a type with sign or without.
[[nodiscard]] double number_of(const Cell& cell);
[[nodiscard]] Difference difference(const Cell& before, const ReadAt& then, const Cell& now, const ReadAt& at);

}  // namespace ox::manager
