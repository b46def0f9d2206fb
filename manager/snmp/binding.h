// Variable bindings as data nodes.
#pragma once

#include <vector>

#include "manager/base/node_list.h"
#include "manager/base/oid.h"
#include "manager/snmp/values.h"

namespace ox::manager {

// The bindings of a get or get-next request.
[[nodiscard]] NodeList null_bindings(const std::vector<Wanted>& wanted);
// A node that says why a path has no value.
[[nodiscard]] NodePtr error_node(const Oid& path, OX_RESULT code);
// The AMIB name of a node; empty when it has none.
[[nodiscard]] Oid path_of(const dnode* node);
// The error code of a node, 0 when it has none.
[[nodiscard]] OX_RESULT code_of(const dnode* node);

}  // namespace ox::manager
