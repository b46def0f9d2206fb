#include "manager/snmp/binding.h"

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

}  // namespace ox::manager
