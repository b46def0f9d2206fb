// Writing values: the set request, and the attribute lists of management.
#pragma once

#include "manager/manager.h"
#include "manager/sessions/request.h"

namespace ox::manager {

// Takes the payload of a set apart: 0, 71, 3.
[[nodiscard]] OX_RESULT read_set(std::span<const std::byte> bytes, NodeList& nodes, std::uint32_t& limit);

// Checks all nodes; when every one can be written, writes the stored values as one batch and the agents' values by one
// request for each agent, and replies. When one cannot, nothing is written. The reply's nodes name what was to be
// written, those that failed with their codes.
void write_values(Manager& manager, NodeList nodes, std::uint32_t limit, std::function<void(Reply)> reply);

}  // namespace ox::manager
