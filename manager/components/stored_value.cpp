#include "manager/components/stored_value.h"

#include <cstring>

namespace ox::manager {
namespace {

NodePtr named(const Oid& path) {
  NodePtr node = make_node();
  if (oxdSetAmibName(node.get(), oid_text(path).c_str()) != OX_OK) throw std::bad_alloc();
  return node;
}

oxdType info_of(std::uint32_t type) {
  oxdType info{};
  (void)oxdTypeInfo(type, &info);
  return info;
}

// Types whose values can stand for each other as they lie.
bool same_form(std::uint32_t a, std::uint32_t b) {
  const auto number = [](std::uint32_t form) { return form == OXD_SIGNED32 || form == OXD_UNSIGNED32; };
  const std::uint32_t one = info_of(a).form;
  const std::uint32_t other = info_of(b).form;
  return (number(one) && number(other)) || (one == OXD_ADDRESS && other == OXD_ADDRESS);
}

OX_RESULT set_bytes(dnode* node, std::uint32_t type, const std::string& bytes) {
  const auto size = static_cast<std::uint32_t>(bytes.size());
  void* const block = oxcMemZalloc(size + 1, "mgr_value");  // octet strings carry a terminator that is not counted
  if (block == nullptr) return OX_ENOMEM;
  std::memcpy(block, bytes.data(), size);
  const OX_RESULT result = oxdSetRawValue(node, type, size, block);
  if (result != OX_OK) (void)oxcMemFree(block);
  return result;
}

// Whether the bytes are a value of the type at all: a client may send anything.
bool is_sound(const Value& value) {
  const std::size_t size = value.bytes.size();
  const oxdType info = info_of(value.type);
  if (info.form == OXD_TEXT) return size > 0 && value.bytes.find('\0') == size - 1;
  return info.form == OXD_MARK || info.size == 0 || size == info.size;
}

}  // namespace

NodePtr value_node(const Oid& path, const Value& value) {
  NodePtr node = named(path);
  if (set_bytes(node.get(), value.type, value.bytes) != OX_OK) throw std::bad_alloc();
  return node;
}

NodePtr text_node(const Oid& path, const std::string& text) {
  NodePtr node = named(path);
  if (oxdSetText(node.get(), text.c_str()) != OX_OK) throw std::bad_alloc();
  return node;
}

NodePtr told_node(const ComponentName& component, const Oid& path, const Value& value) {
  NodePtr node = value_node(path, value);
  set_component(node.get(), component);
  set_response_time(node.get());
  return node;
}

NodePtr deleted_node(const ComponentName& component, const Oid& path) {
  return told_node(component, path, {OX_DELETED, std::string(1, '\0')});
}

OX_RESULT convert_value(dnode* node, std::uint32_t type) {
  const std::int32_t given = oxdGetValueType(node);
  if (given < 0) return OX_ENOVALUE;
  Value value = value_of(node);
  if (!is_sound(value)) return OX_EVALUETYPE;
  if (value.type == type) return OX_OK;
  if (same_form(value.type, type)) return set_bytes(node, type, value.bytes);
  if (value.type != OX_DISPLAYSTRING) return OX_EVALUETYPE;
  value.bytes.pop_back();
  return oxdSetValueByStr(node, type, value.bytes.c_str());
}

Value value_of(const dnode* node) {
  std::uint32_t type = 0;
  std::uint32_t size = 0;
  const void* bytes = nullptr;
  if (oxdGetValue(node, &type, &size, &bytes) != OX_OK) return {};
  return {type, size == 0 ? std::string() : std::string(static_cast<const char*>(bytes), size)};
}

std::string text_of(const dnode* node) {
  Value value = value_of(node);
  if (value.type != OX_DISPLAYSTRING && value.type != OX_OCTETSTRING) return {};
  return value.bytes.substr(0, value.bytes.find('\0'));
}

}  // namespace ox::manager
