// Reading and writing an agent's values: what is wanted, and who gets it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "manager/base/node_list.h"
#include "manager/base/oid.h"
#include "manager/snmp/engine.h"

namespace ox::manager {

// A value that is wanted, or a column of them, and the receiver's place for it.
struct Wanted {
  Oid path;
  std::size_t slot = 0;
};

// What one receiver wants of an agent at once: made once, asked as often as wanted, of as many agents as have the same.
struct Question {
  std::vector<Wanted> wanted{};
  bool uptime = false;  // the agent's own time is read with each request
  bool spare = false;   // of an agent that is silent only whether it is there again
  bool again = false;   // worth to be kept in its encoded form
};

// How the values that follow came.
struct Reading {
  std::int64_t at = 0;                    // milliseconds since 1970
  std::optional<std::uint32_t> uptime{};  // of the agent, hundredths of a second
  bool asked = true;                      // false: the agent is silent, and was only probed
  std::uint32_t error_status = 0;         // of the whole answer, for what it refuses
};

// Who asked. The operation keeps it alive.
class ValueReceiver {
 public:
  virtual ~ValueReceiver() = default;
  // Of the values that are taken next, until the next call.
  virtual void reading(const Reading&) {}
  // A node with AMIB name and value, or with an error code. False ends the operation early.
  [[nodiscard]] virtual bool take(std::size_t slot, NodePtr node) = 0;
  // There is no value. As a node with the code, unless the receiver does without it.
  [[nodiscard]] virtual bool refuse(std::size_t slot, const Oid& path, OX_RESULT code) {
    return take(slot, error_node(path, code));
  }
  // The operation has ended: nothing more comes for these slots from it. 0, or 3 when it had no memory to go on.
  virtual void done(const std::vector<std::size_t>& slots, OX_RESULT why) = 0;
};

// Sets all values in one request. The handler receives one code for each node.
void snmp_set(SnmpEngine& engine, const Agent& agent, const NodeList& values,
              std::function<void(std::vector<OX_RESULT>)> handler);

}  // namespace ox::manager
