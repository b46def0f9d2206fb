// Whose agents have which addresses.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <unordered_map>

namespace ox::manager {

// Addresses are those of data nodes: 4 bytes in network order, as they lie in memory.
class AgentIndex {
 public:
  void set(const std::string& node, std::uint32_t address);
  void erase(const std::string& node);

  // The first by name of the nodes with that address; null without one.
  [[nodiscard]] const std::string* find(std::uint32_t address) const;

 private:
  std::unordered_map<std::uint32_t, std::set<std::string>> nodes_;
  std::map<std::string, std::uint32_t> addresses_;
};

}  // namespace ox::manager
