#include "amib/node.h"

#include <oxbase/oxb.h>

#include "common/value_type_table.h"

// The accessors are what programs walk the tree with: one shift, one mask, one table look-up, one load. They neither
// check nor trace.

namespace ox::amib {

std::array<char*, block_slots> block_base{};

}  // namespace ox::amib

using ox::amib::node_at;

extern "C" {

uint32_t OX_CALL oxbNumber(uint32_t node) { return node_at(node).number; }
uint32_t OX_CALL oxbAmibType(uint32_t node) { return node_at(node).type; }
uint32_t OX_CALL oxbAccessControl(uint32_t node) { return node_at(node).access; }
uint32_t OX_CALL oxbAmibInterface(uint32_t node) { return node_at(node).interface_code; }
uint32_t OX_CALL oxbParent(uint32_t node) { return node_at(node).parent; }
uint32_t OX_CALL oxbChild(uint32_t node) { return node_at(node).child; }
uint32_t OX_CALL oxbPrev(uint32_t node) { return node_at(node).prev; }
uint32_t OX_CALL oxbNext(uint32_t node) { return node_at(node).next; }
const char* OX_CALL oxbName(uint32_t node) { return node_at(node).name(); }

uint32_t OX_CALL oxbIsLeaf(uint32_t node) { return ox::is_leaf_type(node_at(node).type) ? 1 : 0; }

uint32_t OX_CALL oxbIsAggre(uint32_t node) {
  for (; node != 0; node = node_at(node).parent) {
    if (node_at(node).type == OX_AGGREGATE) return 1;
  }
  return 0;
}

}  // extern "C"
