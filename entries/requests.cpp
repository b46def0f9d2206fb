#include "entries/requests.h"

#include <cstring>

namespace ox::entries {

OX_RESULT check_name(const char* name) noexcept {
  if (name == nullptr) return OX_EMISSING;
  return std::strlen(name) < name_limit ? OX_RESULT{OX_OK} : OX_RESULT{OX_ECOMPNAME};
}

std::string Component::text() const { return std::string(type) + ':' + name; }

OX_RESULT get(const char* manager, const Component& component, const char* path, std::uint32_t options,
              std::uint32_t seconds, dnode_ptr& answer) {
  dnode* list = nullptr;
  const OX_RESULT result = oxaGet(manager, component.text().c_str(), path, nullptr, options, seconds, &list);
  answer.reset(list);
  return result;
}

OX_RESULT get_number(const char* manager, const Component& component, const char* path, std::uint32_t seconds,
                     std::uint32_t& number) {
  dnode_ptr answer;
  if (const OX_RESULT result = get(manager, component, path, 0, seconds, answer)) return result;
  return read_number(answer.get(), number) ? OX_RESULT{OX_OK} : OX_RESULT{OX_ENOVALUE};
}

// The node gets the component's fields before it goes to the end of the list.
OX_RESULT Nodes::append(dnode_ptr node) noexcept {
  if (component_.type != nullptr) {
    OX_RESULT result = oxdSetCompType(node.get(), component_.type);
    if (result == OX_OK) result = oxdSetCompName(node.get(), component_.name);
    if (result != OX_OK) return result;
  }
  dnode* list = list_.release();
  (void)oxcQueueAdd(&list, node.release());
  list_.reset(list);
  return OX_OK;
}

OX_RESULT Nodes::add_value(const char* path, std::uint32_t type, std::uintptr_t value) noexcept {
  dnode_ptr node = data::make_dnode();
  if (!node) return OX_ENOMEM;
  OX_RESULT result = data::set_amib_path(*node, path);
  if (result == OX_OK) result = data::set_value(*node, type, value, 0);
  return result != OX_OK ? result : append(std::move(node));
}

OX_RESULT Nodes::add(const char* path) noexcept {
  dnode_ptr node = data::make_dnode();
  if (!node) return OX_ENOMEM;
  const OX_RESULT result = data::set_amib_path(*node, path);
  return result != OX_OK ? result : append(std::move(node));
}

OX_RESULT Nodes::add(const char* path, const char* text) noexcept {
  return add_value(path, OX_DISPLAYSTRING, reinterpret_cast<std::uintptr_t>(text));
}

OX_RESULT Nodes::add(const char* path, std::uint32_t type, std::uint32_t number) noexcept {
  return add_value(path, type, number);
}

OX_RESULT Nodes::add_copy(const dnode& node) noexcept {
  dnode_ptr copy(oxdCopy(&node));
  if (!copy) return OX_ENOMEM;
  (void)oxdClrReqTime(copy.get());
  (void)oxdClrRspTime(copy.get());
  (void)oxdClrDnodeId(copy.get());
  (void)oxdClrErrCode(copy.get());
  return append(std::move(copy));
}

OX_RESULT set(const char* manager, const Nodes& nodes, std::uint32_t seconds) {
  dnode* answer = nullptr;
  const OX_RESULT result = oxaSet(manager, 0, seconds, nodes.list(), &answer);
  (void)oxdFree(answer);
  return result;
}

bool read_number(const dnode* node, std::uint32_t& number) noexcept {
  oxdType type{};
  if (oxdTypeInfo(static_cast<std::uint32_t>(oxdGetValueType(node)), &type) != OX_OK) return false;
  if (type.form != OXD_SIGNED32 && type.form != OXD_UNSIGNED32) return false;
  return oxdGetValueSize(node) == sizeof number && oxdGetValueByUlong(node, &number) == OX_OK;
}

}  // namespace ox::entries
