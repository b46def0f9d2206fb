#include "manager/components/store.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <oxbase/oxc.h>

#include "manager/base/attributes.h"
#include "manager/components/number_value.h"

namespace ox::manager {
namespace {

bool is_agent_address(const ComponentName& name, const Oid& path) {
  return name.type == "node" && path == node_address_path;
}

}  // namespace

Store::Store() { add(built_in_name(), 0); }

bool Store::is_built_in(const ComponentName& name) { return name == built_in_name(); }

void Store::apply(const Change& change) {
  switch (change.kind) {
    case Change::Kind::add:
      return add(change.component, change.row);
    case Change::Kind::remove:
      return remove(change.component);
    case Change::Kind::set:
      return set(change.component, change.path, change.value, change.row);
    case Change::Kind::unset:
      return unset(change.component, change.path);
    case Change::Kind::relate:
      return relate(change.relation, change.row);
    case Change::Kind::unrelate:
      return unrelate(change.relation);
  }
}

void Store::add(const ComponentName& name, std::uint64_t row) {
  ++generation_;
  Components& components = types_[name.type];
  const auto [entry, fresh] = components.in_order.try_emplace(name.name, row);
  if (fresh) count(name.name.size());
  components.by_name.add(*entry);
}

void Store::set(const ComponentName& name, const Oid& path, const Value& value, std::uint64_t row) {
  Values* const values = find_values(name);
  if (values == nullptr) return;
  const auto [stored, fresh] = values->try_emplace(path);
  if (!fresh) uncount(stored->second.bytes.size());
  count(value.bytes.size());
  stored->second = value;
  stored->second.row = row;
  if (!is_agent_address(name, path)) return;
  agents_.erase(name.name);
  std::uint32_t address = 0;
  if (value.bytes.size() != sizeof address) return;
  std::memcpy(&address, value.bytes.data(), sizeof address);
  agents_.set(name.name, address);
}

void Store::unset(const ComponentName& name, const Oid& path) {
  Values* const values = find_values(name);
  const auto found = values != nullptr ? values->find(path) : Values::iterator();
  if (values != nullptr && found != values->end()) {
    uncount(found->second.bytes.size());
    values->erase(found);
  }
  if (is_agent_address(name, path)) agents_.erase(name.name);
}

void Store::remove(const ComponentName& name) {
  const auto type = types_.find(name.type);
  if (is_built_in(name) || type == types_.end()) return;
  ++generation_;
  for (const Relation& relation : relations_of(name)) unrelate(relation);
  const auto entry = type->second.in_order.find(name.name);
  if (entry != type->second.in_order.end()) {
    uncount(name.name.size());
    for (const auto& [path, value] : entry->second.values) uncount(value.bytes.size());
  }
  type->second.by_name.erase(name.name);
  type->second.in_order.erase(name.name);
  if (name.type == "node") agents_.erase(name.name);
  if (type->second.in_order.empty()) types_.erase(type);
}

void Store::relate(const Relation& relation, std::uint64_t row) {
  if (!has(relation.from) || !has(relation.to)) return;
  const Relation* const stored = &relations_.try_emplace(relation, row).first->first;
  by_end_[stored->from].insert(stored);
  by_end_[stored->to].insert(stored);
}

void Store::unrelate(const Relation& relation) {
  const auto found = relations_.find(relation);
  if (found == relations_.end()) return;
  for (const ComponentName* end : {&relation.from, &relation.to}) {
    const auto entry = by_end_.find(*end);
    if (entry == by_end_.end()) continue;  // both ends are the same component
    entry->second.erase(&found->first);
    if (entry->second.empty()) by_end_.erase(entry);
  }
  relations_.erase(found);
}

const Store::Component* Store::find(const ComponentName& name) const {
  const auto type = types_.find(name.type);
  if (type == types_.end()) return nullptr;
  const auto* const found = type->second.by_name.find(name.name);
  return found == nullptr ? nullptr : &found->second;
}

Values* Store::find_values(const ComponentName& name) { return const_cast<Values*>(std::as_const(*this).values(name)); }

const Values* Store::values(const ComponentName& name) const {
  const Component* const found = find(name);
  return found == nullptr ? nullptr : &found->values;
}

std::optional<std::uint64_t> Store::row(const ComponentName& name) const {
  const Component* const found = find(name);
  return found == nullptr ? std::nullopt : std::optional(found->row);
}

std::optional<std::uint64_t> Store::row(const Relation& relation) const {
  const auto found = relations_.find(relation);
  return found == relations_.end() ? std::nullopt : std::optional(found->second);
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
  for (const auto& [name, component] : type->second.in_order) {
    if (oxcRegMatch(pattern.name.c_str(), name.c_str()) != 0) found.push_back({pattern.type, name});
  }
  return found;
}

std::optional<Change> Store::part_of(const ComponentName& name) const {
  const Values* const held = values(name);
  if (held != nullptr && !held->empty()) {
    return Change{.kind = Change::Kind::unset, .component = name, .path = held->begin()->first};
  }
  const auto entry = by_end_.find(name);
  if (entry == by_end_.end()) return {};
  return Change{.kind = Change::Kind::unrelate, .relation = **entry->second.begin()};
}

std::vector<Relation> Store::relations_of(const ComponentName& name) const {
  std::vector<Relation> found;
  const auto entry = by_end_.find(name);
  if (entry == by_end_.end()) return found;
  for (const Relation* relation : entry->second) found.push_back(*relation);
  std::sort(found.begin(), found.end());  // the index is in order of addresses
  return found;
}

Store::NewName Store::new_name(const std::string& type) const {
  Oid path{10, 102, 2};
  path.insert(path.end(), type.begin(), type.end());
  std::uint32_t number = number_of(value(built_in_name(), path));
  std::string name;
  do {
    name = type + std::to_string(++number);
  } while (has(ComponentName{type, name}));
  Change mark{
      .kind = Change::Kind::set, .component = built_in_name(), .path = std::move(path), .value = number_value(number)};
  return {std::move(name), std::move(mark)};
}

}  // namespace ox::manager
