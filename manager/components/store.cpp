#include "manager/components/store.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include <oxbase/oxc.h>

#include "manager/base/attributes.h"

namespace ox::manager {
namespace {

struct BuiltIn {
  std::string_view type;
  std::string_view name;
};
constexpr std::array built_in{BuiltIn{"system", "system"}};

bool is_agent_address(const ComponentName& name, const Oid& path) {
  return name.type == "node" && path == node_address_path;
}

}  // namespace

Store::Store() {
  for (const BuiltIn& one : built_in) add({std::string(one.type), std::string(one.name)});
}

bool Store::is_built_in(const ComponentName& name) {
  return std::any_of(built_in.begin(), built_in.end(),
                     [&](const BuiltIn& one) { return one.type == name.type && one.name == name.name; });
}

void Store::apply(const Change& change) {
  switch (change.kind) {
    case Change::Kind::add:
      return add(change.component);
    case Change::Kind::remove:
      return remove(change.component);
    case Change::Kind::set:
      return set(change.component, change.path, change.value);
    case Change::Kind::unset:
      return unset(change.component, change.path);
    case Change::Kind::relate:
      return relate(change.relation);
    case Change::Kind::unrelate:
      return unrelate(change.relation);
  }
}

void Store::add(const ComponentName& name) { types_[name.type].try_emplace(name.name); }

void Store::set(const ComponentName& name, const Oid& path, const Value& value) {
  Values* const values = find(name);
  if (values == nullptr) return;
  values->insert_or_assign(path, value);
  if (!is_agent_address(name, path)) return;
  agents_.erase(name.name);
  std::uint32_t address = 0;
  if (value.bytes.size() != sizeof address) return;
  std::memcpy(&address, value.bytes.data(), sizeof address);
  agents_.set(name.name, address);
}

void Store::unset(const ComponentName& name, const Oid& path) {
  if (Values* values = find(name)) values->erase(path);
  if (is_agent_address(name, path)) agents_.erase(name.name);
}

void Store::remove(const ComponentName& name) {
  const auto type = types_.find(name.type);
  if (is_built_in(name) || type == types_.end()) return;
  for (const Relation& relation : relations_of(name)) unrelate(relation);
  type->second.erase(name.name);
  if (name.type == "node") agents_.erase(name.name);
  if (type->second.empty()) types_.erase(type);
}

void Store::relate(const Relation& relation) {
  if (!has(relation.from) || !has(relation.to)) return;
  const Relation* const stored = &*relations_.insert(relation).first;
  by_end_[stored->from].insert(stored);
  by_end_[stored->to].insert(stored);
}

void Store::unrelate(const Relation& relation) {
  const auto found = relations_.find(relation);
  if (found == relations_.end()) return;
  for (const ComponentName* end : {&relation.from, &relation.to}) {
    const auto entry = by_end_.find(*end);
    if (entry == by_end_.end()) continue;  // both ends are the same component
    entry->second.erase(&*found);
    if (entry->second.empty()) by_end_.erase(entry);
  }
  relations_.erase(found);
}

Values* Store::find(const ComponentName& name) { return const_cast<Values*>(std::as_const(*this).values(name)); }

const Values* Store::values(const ComponentName& name) const {
  const auto type = types_.find(name.type);
  if (type == types_.end()) return nullptr;
  const auto component = type->second.find(name.name);
  return component == type->second.end() ? nullptr : &component->second;
}

const Value* Store::value(const ComponentName& name, const Oid& path) const {
  const Values* const all = values(name);
  if (all == nullptr) return nullptr;
  const auto found = all->find(path);
  return found == all->end() ? nullptr : &found->second;
}

std::vector<ComponentName> Store::matching(const ComponentName& pattern) const {
  std::vector<ComponentName> found;
  const auto type = types_.find(pattern.type);
  if (type == types_.end()) return found;
  for (const auto& [name, values] : type->second) {
    if (oxcRegMatch(pattern.name.c_str(), name.c_str()) != 0) found.push_back({pattern.type, name});
  }
  return found;
}

std::vector<Relation> Store::relations_of(const ComponentName& name) const {
  std::vector<Relation> found;
  const auto entry = by_end_.find(name);
  if (entry == by_end_.end()) return found;
  for (const Relation* relation : entry->second) found.push_back(*relation);
  std::sort(found.begin(), found.end());  // the index is in order of addresses
  return found;
}

std::string Store::free_name(const std::string& type) {
  std::uint32_t& number = next_number_[type];
  std::string name;
  do {
    name = type + std::to_string(++number);
  } while (has(ComponentName{type, name}));
  return name;
}

void Store::visit(const std::function<void(const Change&)>& visitor) const {
  for (const auto& [type, components] : types_) {
    for (const auto& [name, values] : components) {
      Change change;
      change.component = {type, name};
      if (!is_built_in(change.component)) visitor(change);
      change.kind = Change::Kind::set;
      for (const auto& [path, value] : values) {
        change.path = path;
        change.value = value;
        visitor(change);
      }
    }
  }
  Change change;
  change.kind = Change::Kind::relate;
  for (const Relation& relation : relations_) {
    change.relation = relation;
    visitor(change);
  }
}

}  // namespace ox::manager
