// Rounds that an application adds to a log entry.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "manager/requests/manager.h"

namespace ox::manager {

// Adds the values of nodes, which name component and attribute, as one round of that time (seconds since 1970, 0: now)
// with that status word, to a log entry that runs or is filled from outside; of two values for the same instance of an
// attribute the last one counts. `done` gets 0 when it is safe; 84; 279 for an entry that is stopped; 70 for a time
// that is not after the last round's, and for a node without a component, an attribute with its instance, or a value;
// 144.
void append_round(Manager& manager, const std::string& log_entry, std::uint32_t time, std::uint32_t status,
                  const NodeList& nodes, const std::function<void(OX_RESULT)>& done);

}  // namespace ox::manager
