// Reading and writing an agent's values: gets of instances, walks of columns, sets; split into requests of a bounded
// number of bindings.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "manager/base/node_list.h"
#include "manager/base/oid.h"
#include "manager/snmp/engine.h"

namespace ox::manager {

// A value that is wanted, and the receiver's place for it.
struct Wanted {
  Oid path;
  std::size_t slot = 0;
};

// Who asked. The operation keeps it alive.
class ValueReceiver {
 public:
  virtual ~ValueReceiver() = default;
  // A node with AMIB name and value, or with an error code. False ends the operation early.
  [[nodiscard]] virtual bool take(std::size_t slot, NodePtr node) = 0;
  // The operation has ended: nothing more comes for these slots from it. 0, or 3 when it had no memory to go on.
  virtual void done(const std::vector<std::size_t>& slots, OX_RESULT why) = 0;
};

// One node for each wanted instance.
void snmp_get(SnmpEngine& engine, const Agent& agent, std::size_t bindings, std::vector<Wanted> wanted,
              std::shared_ptr<ValueReceiver> receiver);

// Every instance below each column, columns in parallel. A column ends at the end of its subtree, at the end of the
// agent's view, at "noSuchName", and at a name that does not increase, which a broken agent would repeat for ever.
// A failure of the agent gives one node, with the column's name and the code.
void snmp_walk(SnmpEngine& engine, const Agent& agent, std::size_t bindings, const std::vector<Wanted>& columns,
               std::shared_ptr<ValueReceiver> receiver);

// Sets all values in one request. The handler receives one code for each node.
void snmp_set(SnmpEngine& engine, const Agent& agent, const NodeList& values,
              std::function<void(std::vector<OX_RESULT>)> handler);

}  // namespace ox::manager
