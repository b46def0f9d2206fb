// Reading and writing an agent's values: gets of instances, walks of columns, sets; split into requests of a bounded
// number of bindings.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "manager/base/oid.h"
#include "manager/snmp/engine.h"

namespace ox::manager {

// A value that is wanted, and the caller's place for it.
struct Wanted {
  Oid path;
  std::size_t slot = 0;
};

// Receives nodes with AMIB name and value, or with an error code. False ends the operation early.
using Emit = std::function<bool(std::size_t slot, NodePtr node)>;
using Done = std::function<void()>;

// One node for each wanted instance.
void snmp_get(SnmpEngine& engine, const Agent& agent, std::size_t bindings, std::vector<Wanted> wanted, Emit emit,
              Done done);

// Every instance below each column, columns in parallel. A column ends at the end of its subtree, at the end of the
// agent's view, at "noSuchName", and at a name that does not increase, which a broken agent would repeat for ever.
// A failure of the agent gives one node, with the column's name and the code.
void snmp_walk(SnmpEngine& engine, const Agent& agent, std::size_t bindings, const std::vector<Wanted>& columns,
               Emit emit, Done done);

// Sets all values in one request. The handler receives one code for each node.
void snmp_set(SnmpEngine& engine, const Agent& agent, const NodeList& values,
              std::function<void(std::vector<OX_RESULT>)> handler);

}  // namespace ox::manager
