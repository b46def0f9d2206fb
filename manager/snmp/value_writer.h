// Writing the values of components, stored ones and those of agents.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "manager/components/growth.h"
#include "manager/snmp/value_reader.h"

namespace ox::manager {

// What becomes of changes.
struct ChangeSink {
  // Whether a client may set that stored value, behind those of his list before it: 0, or the code that refuses it. May
  // change the value.
  std::function<OX_RESULT(Change&, StoreGrowth& growth)> check;
  // Writes stored values as one batch and tells those who watch: 0, or 144 with the store as it was.
  std::function<OX_RESULT(std::span<const Change>)> commit;
  // Tells those who watch of values that agents have taken.
  std::function<void(std::span<const Change>)> written;
};

class ValueWriter {
 public:
  ValueWriter(const ValueTools& tools, ChangeSink changes) : tools_(tools), changes_(std::move(changes)) {}

  struct Client {
    std::uint32_t session = 0;
    const RightsPtr& rights;
  };
  // Checks all nodes; when every one can be written, writes the stored values as one batch and the agents' values by
  // one request for each agent. When one cannot, nothing is written. `limit` is in seconds, 0 the manager's own.
  // The answer's nodes name what was to be written, those that failed with their codes; its result is the code that
  // all share, 0 among them, or 121; 56 for an empty list.
  void write(const Client& client, NodeList nodes, std::uint32_t limit, ValueAnswer answer) const;

 private:
  class Set;

  const ValueTools tools_;
  ChangeSink changes_;
};

}  // namespace ox::manager
