// The event of a trap.
#pragma once

#include <oxbase/oxc.h>
#include <oxbase/oxs.h>

#include "manager/events/record.h"

namespace ox::manager {

// Flag of an event: its trap is one that nothing defines.
inline constexpr std::uint32_t unknown_trap_flag = 0x2;

// Who has sent a trap, in network order as addresses lie in memory: what it says itself, else where it came from.
[[nodiscard]] std::uint32_t agent_of(const oxsSnmpTrap& trap, std::uint32_t sender);

// The event of a trap by its definition, null for one that nothing defines; `node` is the name of the agent's component
// or null. Everything but the times: two traps that differ in nothing else give equal events. Throws std::bad_alloc.
[[nodiscard]] EventPtr make_trap_event(const oxsSnmpTrap& trap, std::uint32_t agent, const std::string* node,
                                       const oxcTrTag* definition);

// Adds the trap's time stamp, and the times of occurrence and recovery where its bindings carry them.
void set_trap_times(evmsg* event, const oxsSnmpTrap& trap, const oxcTrTag* definition);

}  // namespace ox::manager
