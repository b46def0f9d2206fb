// Where and how the agent of a component is asked: the component's own attributes.
#pragma once

#include "manager/base/settings.h"
#include "manager/components/store.h"
#include "manager/snmp/engine.h"

namespace ox::manager {

// Returns 0; 195 when the component has no address; 157 when its type has no agent; 88 for a number out of range.
[[nodiscard]] OX_RESULT agent_of(const Store& store, const ComponentName& component, const Settings& settings,
                                 Agent& agent);

// The code of a data node for an SNMP error status (RFC 3416, 3). `writing`: of a set.
[[nodiscard]] OX_RESULT code_of_status(std::uint32_t error_status, bool writing);

inline constexpr std::uint32_t status_too_big = 1;
inline constexpr std::uint32_t status_no_such_name = 2;

}  // namespace ox::manager
