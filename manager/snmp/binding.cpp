#include "manager/snmp/binding.h"

#include <chrono>

namespace ox::manager {

NodeList null_bindings(const std::vector<Wanted>& wanted) {
  NodeList list;
  for (const Wanted& one : wanted) {
    NodePtr node = named_node(one.path);
    if (oxdSetValue(node.get(), OX_NULL, 0, 0) != OX_OK) throw std::bad_alloc();
    list.add(std::move(node));
  }
  return list;
}

std::vector<std::size_t> slots_of(const std::vector<Wanted>& wanted) {
  std::vector<std::size_t> slots;
  for (const Wanted& one : wanted) {
    if (slots.empty() || slots.back() != one.slot) slots.push_back(one.slot);
  }
  return slots;
}

std::optional<std::uint32_t> uptime_of(const dnode* node) {
  std::uint32_t uptime = 0;
  if (node == nullptr || code_of(node) != OX_OK || oxdGetValueType(node) != OX_TIMETICKS) return {};
  return oxdGetValueByUlong(node, &uptime) == OX_OK ? std::optional(uptime) : std::nullopt;
}

std::int64_t now_in_milliseconds() {
  const auto since = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(since).count();
}

}  // namespace ox::manager
