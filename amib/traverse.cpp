// From leaf to leaf.
#include <oxbase/oxb.h>

#include "amib/node.h"
#include "common/trace.h"
#include "common/value_type_table.h"

namespace ox::amib {
namespace {

// 0 also for a node that lies in a block which this process has not mapped.
Ref present(Ref ref) noexcept { return is_mapped(ref) ? ref : 0; }

// A node with children is passed over, also when its type is that of a value.
bool is_end(Ref node) noexcept { return present(node_at(node).child) == 0 && is_leaf_type(node_at(node).type); }

Ref next_leaf(Ref top, Ref current) noexcept {
  if (!is_mapped(top)) return 0;
  if (is_leaf_type(node_at(top).type)) return current == 0 ? top : 0;
  Ref node = current != 0 ? current : top;
  do {
    if (const Ref child = present(node_at(node).child); child != 0) {
      node = child;
      continue;
    }
    while (node != 0 && node != top && present(node_at(node).next) == 0) node = present(node_at(node).parent);
    if (node == 0 || node == top) return 0;  // never beyond the top's own subtree
    node = node_at(node).next;
  } while (!is_end(node));
  return node;
}

}  // namespace
}  // namespace ox::amib

extern "C" uint32_t OX_CALL oxbTraverse(uint32_t top, uint32_t current) {
  OX_ENTRY("oxbTraverse", ":%x:%x", top, current);
  return ox::traced("oxbTraverse", [&] { return ox::amib::next_leaf(top, current); });
}
