// The event of a trap.
#pragma once

#include <new>
#include <string>

#include <oxbase/oxc.h>
#include <oxbase/oxs.h>

#include "manager/events/record.h"

namespace ox::manager {

// Flag of an event: its trap is one that nothing defines.
inline constexpr std::uint32_t unknown_trap_flag = 0x2;

// Who has sent a trap, in network order as addresses lie in memory: what it says itself, else where it came from.
[[nodiscard]] std::uint32_t agent_of(const oxsSnmpTrap& trap, std::uint32_t sender);

// Whether the texts of an event can hold its identifiers.
[[nodiscard]] bool fits_an_event(const oxsSnmpTrap& trap);

// The event of a trap that fits, by its definition, null for one that nothing defines; `node` is the name of the
// agent's component or null. Throws std::bad_alloc.
[[nodiscard]] EventPtr make_trap_event(const oxsSnmpTrap& trap, std::uint32_t agent, const std::string* node,
                                       const oxcTrTag* definition);

// What the event of a trap that fits is made of, but for its definition and time stamp: equal for traps that differ in
// nothing else. Throws std::bad_alloc.
[[nodiscard]] std::string key_of(const oxsSnmpTrap& trap, std::uint32_t agent, const std::string* node);

// Setting a field of an event fails for want of memory alone.
inline void require(OX_RESULT result) {
  if (result != OX_OK) throw std::bad_alloc();
}

}  // namespace ox::manager
