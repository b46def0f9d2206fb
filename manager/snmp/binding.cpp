#include "manager/snmp/binding.h"

namespace ox::manager {
namespace {

NodePtr named_node(const Oid& path) {
  NodePtr node = make_node();
  if (oxdSetAmibName(node.get(), oid_text(path).c_str()) == OX_ENOMEM) throw std::bad_alloc();
  return node;
}

}  // namespace

NodeList null_bindings(const std::vector<Wanted>& wanted) {
  NodeList list;
  for (const Wanted& one : wanted) {
    NodePtr node = named_node(one.path);
    if (oxdSetValue(node.get(), OX_NULL, 0, 0) != OX_OK) throw std::bad_alloc();
    list.add(std::move(node));
  }
  return list;
}

NodePtr error_node(const Oid& path, OX_RESULT code) {
  NodePtr node = named_node(path);
  (void)oxdSetErrCode(node.get(), code);
  return node;
}

Oid path_of(const dnode* node) {
  const char* name = nullptr;
  if (oxdGetAmibName(node, &name) != OX_OK) return {};
  return parse_oid(name).value_or(Oid{});
}

OX_RESULT code_of(const dnode* node) {
  std::uint32_t code = OX_OK;
  (void)oxdGetErrCode(node, &code);
  return code;
}

}  // namespace ox::manager
