#include "manager/requests/item_nodes.h"

#include <new>
#include <string>

#include "manager/components/stored_value.h"

namespace ox::manager {
namespace {

constexpr std::size_t node_size = 60000;  // bytes of items in one node

void append(Bytes& out, NodePtr node, const ComponentName& component) {
  set_component(node.get(), component);
  set_response_time(node.get());
  NodeList list;
  list.add(std::move(node));
  Bytes encoded;
  if (encode_nodes(list, encoded) != OX_OK) throw std::bad_alloc();
  out.insert(out.end(), encoded.begin(), encoded.end());
}

}  // namespace

bool NodesOfItems::next(Bytes& out) {
  if (ended_) return false;
  Bytes items;
  while (items.size() < node_size && items_->next(items)) {
  }
  if (!items.empty() || !begun_) {
    begun_ = true;
    Value value{OX_OCTETSTRING, std::string(reinterpret_cast<const char*>(items.data()), items.size())};
    append(out, value_node(path_, value), component_);
    return true;
  }
  ended_ = true;
  if (items_->lost()) append(out, error_node(path_, OX_ERUNTIME), component_);
  return items_->lost();
}

}  // namespace ox::manager
