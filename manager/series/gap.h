// Why a value that was due is not there.
#pragma once

#include <cstdint>

namespace ox::manager {

enum class Gap : std::uint32_t {
  none = 0,
  no_answer = 1,     // the agent did not answer
  agent_error = 2,   // it answered with an error; the code says which
  no_instance = 3,   // it has no such instance
  no_component = 4,  // the component is not there
  too_long = 5,      // a value of over 65,535 bytes
  manager_down = 6,  // the manager did not run
  overrun = 7,       // the round before was still under way
  not_asked = 8,     // the agent is silent and was not asked
  clock_stepped = 9,
  disk_full = 10,
};

// The status word of a cell without a value: the reason in the high half, its code in the low one. Cells with a value
// have 0, or what an application has given with it.
[[nodiscard]] constexpr std::uint32_t status_word(Gap gap, std::uint32_t code = 0) {
  return static_cast<std::uint32_t>(gap) << 16 | (code & 0xFFFF);
}
[[nodiscard]] constexpr Gap gap_of(std::uint32_t status) { return static_cast<Gap>(status >> 16); }
[[nodiscard]] constexpr std::uint32_t code_of_gap(std::uint32_t status) { return status & 0xFFFF; }

}  // namespace ox::manager
