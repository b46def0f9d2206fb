#include "manager/components/agent_index.h"

namespace ox::manager {

void AgentIndex::set(const std::string& node, std::uint32_t address) {
  erase(node);
  addresses_[node] = address;
  nodes_[address].insert(node);
}

void AgentIndex::erase(const std::string& node) {
  const auto known = addresses_.find(node);
  if (known == addresses_.end()) return;
  const auto nodes = nodes_.find(known->second);
  nodes->second.erase(node);
  if (nodes->second.empty()) nodes_.erase(nodes);
  addresses_.erase(known);
}

const std::string* AgentIndex::find(std::uint32_t address) const {
  const auto nodes = nodes_.find(address);
  return nodes == nodes_.end() ? nullptr : &*nodes->second.begin();
}

}  // namespace ox::manager
