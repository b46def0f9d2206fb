// Variable bindings as data nodes.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "manager/base/node_list.h"
#include "manager/snmp/values.h"

namespace ox::manager {

// The bindings of a get or get-next request.
[[nodiscard]] NodeList null_bindings(const std::vector<Wanted>& wanted);
// The places of what is wanted, each once where those of one place stand together.
[[nodiscard]] std::vector<std::size_t> slots_of(const std::vector<Wanted>& wanted);
// The agent's own time in an answer; nothing for any other binding, and for null.
[[nodiscard]] std::optional<std::uint32_t> uptime_of(const dnode* node);
[[nodiscard]] std::int64_t now_in_milliseconds();

}  // namespace ox::manager
