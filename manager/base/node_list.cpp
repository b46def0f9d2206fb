#include "manager/base/node_list.h"

#include <ctime>

namespace ox::manager {
namespace {

void must(OX_RESULT result) {
  if (result != OX_OK) throw std::bad_alloc();
}

}  // namespace

NodePtr named_node(const Oid& path) {
  NodePtr node = make_node();
  if (oxdSetAmibName(node.get(), oid_text(path).c_str()) == OX_ENOMEM) throw std::bad_alloc();
  return node;
}

NodePtr error_node(const Oid& path, OX_RESULT code) {
  NodePtr node = named_node(path);
  (void)oxdSetErrCode(node.get(), code);
  return node;
}

void set_component(dnode* node, const ComponentName& component) {
  must(oxdSetCompType(node, component.type.c_str()));
  must(oxdSetCompName(node, component.name.c_str()));
}

void set_response_time(dnode* node) { must(oxdSetRspTime(node, static_cast<std::uint32_t>(std::time(nullptr)))); }

Oid path_of(const dnode* node) {
  Oid path;
  read_path(node, path);
  return path;
}

void read_path(const dnode* node, Oid& path) {
  const char* name = nullptr;
  if (oxdGetAmibName(node, &name) != OX_OK || !parse_oid(name, path)) path.clear();
}

OX_RESULT code_of(const dnode* node) {
  std::uint32_t code = OX_OK;
  (void)oxdGetErrCode(node, &code);
  return code;
}

OX_RESULT decode_nodes(std::span<const std::byte> bytes, NodeList& nodes) {
  if (bytes.empty()) return OX_OK;
  return oxdDecode(bytes.data(), static_cast<std::uint32_t>(bytes.size()), nodes.out());
}

OX_RESULT encode_nodes(const NodeList& nodes, Bytes& bytes) {
  void* buffer = nullptr;
  std::uint32_t length = 0;
  if (const OX_RESULT result = oxdEncode(nodes.get(), &buffer, &length)) return result;
  const std::unique_ptr<void, decltype(&oxcMemFree)> owner(buffer, oxcMemFree);
  const auto* const first = static_cast<const std::byte*>(buffer);
  bytes.assign(first, first + length);
  return OX_OK;
}

}  // namespace ox::manager
