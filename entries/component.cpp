#include "entries/component.h"

#include <cstring>

#include "data/value_texts.h"

namespace ox::entries {
namespace {

constexpr char type_path[] = "10.7.1.0";
constexpr char name_path[] = "10.7.8.0";

char added_name[name_limit];

OX_RESULT keep_name(const dnode* answer, const char*& name) {
  const char* text = nullptr;
  const OX_RESULT result = answer != nullptr ? data::display_text(*answer, text) : OX_RESULT{OX_ENOVALUE};
  if (result != OX_OK) return result == OX_ENOMEM ? result : OX_RESULT{OX_EARG};
  const std::size_t length = std::strlen(text);
  if (length == 0 || length >= name_limit) return OX_ECOMPNAME;
  std::memcpy(added_name, text, length + 1);
  name = added_name;
  return OX_OK;
}

OX_RESULT manage(std::uint32_t code, const char* manager, const Nodes& nodes, dnode_ptr& answer) {
  dnode* list = nullptr;
  const OX_RESULT result = oxaMgmtControl(manager, code, nodes.list(), &list);
  answer.reset(list);
  return result;
}

// The nodes that name a component; no name for null.
OX_RESULT name_component(const Component& component, Nodes& nodes) {
  const OX_RESULT result = nodes.add(type_path, component.type);
  if (result != OX_OK || component.name == nullptr) return result;
  return nodes.add(name_path, component.name);
}

}  // namespace

OX_RESULT add_component(std::uint32_t code, const char* manager, const Component& wanted, const char*& name) {
  Nodes nodes;
  dnode_ptr answer;
  OX_RESULT result = name_component(wanted, nodes);
  if (result == OX_OK) result = manage(code, manager, nodes, answer);
  return result != OX_OK ? result : keep_name(answer.get(), name);
}

OX_RESULT delete_component(std::uint32_t code, const char* manager, const Component& component) {
  if (component.type == nullptr || component.name == nullptr) return OX_EMISSING;
  Nodes nodes;
  const OX_RESULT result = name_component(component, nodes);
  return result != OX_OK ? result : manage(code, manager, nodes);
}

OX_RESULT manage(std::uint32_t code, const char* manager, const Nodes& nodes) {
  dnode_ptr answer;
  return manage(code, manager, nodes, answer);
}

}  // namespace ox::entries
