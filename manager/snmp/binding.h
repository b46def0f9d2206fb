// Variable bindings as data nodes.
#pragma once

#include <vector>

#include "manager/base/node_list.h"
#include "manager/snmp/values.h"

namespace ox::manager {

// The bindings of a get or get-next request.
[[nodiscard]] NodeList null_bindings(const std::vector<Wanted>& wanted);
// The places of what is wanted, each once where those of one place stand together.
[[nodiscard]] std::vector<std::size_t> slots_of(const std::vector<Wanted>& wanted);

}  // namespace ox::manager
