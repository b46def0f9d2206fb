#include "entries/component.h"

#include <cstring>
#include <utility>

#include "data/value_texts.h"

namespace ox::entries {
namespace {

constexpr char type_path[] = "10.7.1.0";
constexpr char name_path[] = "10.7.8.0";
constexpr char relation_path[] = "10.7.4.0";

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

OX_RESULT manage_two(std::uint32_t code, const char* manager, const char* relation, const Component& from,
                     const Component& to) {
  Nodes nodes;
  OX_RESULT result = relation != nullptr ? nodes.add(relation_path, relation) : OX_RESULT{OX_OK};
  const std::pair<const char*, const char*> ends[] = {
      {"10.7.2.0", from.type}, {"10.7.9.0", from.name}, {"10.7.3.0", to.type}, {"10.7.10.0", to.name}};
  for (const auto& [path, text] : ends) {
    if (result == OX_OK) result = nodes.add(path, text);
  }
  return result != OX_OK ? result : manage(code, manager, nodes);
}

OX_RESULT get_related(const char* manager, const char* relation, const Component& component, dnode_ptr& answer) {
  constexpr std::uint32_t query = 10;
  Nodes nodes;
  OX_RESULT result = nodes.add(relation_path, relation);
  if (result == OX_OK) result = name_component(component, nodes);
  if (result == OX_OK) result = nodes.add("10.7.7.0");
  if (result == OX_OK) result = manage(query, manager, nodes, answer);
  return result == OX_OK && !answer ? OX_RESULT{OX_ENOTFOUND} : result;
}

OX_RESULT related_name(const dnode& node, const char* type, const char*& name) noexcept {
  name = nullptr;
  const char* text = nullptr;
  const std::size_t length = std::strlen(type);
  if (const OX_RESULT result = data::display_text(node, text)) return result == OX_ENOMEM ? result : OX_RESULT{OX_OK};
  if (std::strncmp(text, type, length) == 0 && text[length] == ':') name = text + length + 1;
  return OX_OK;
}

}  // namespace ox::entries
