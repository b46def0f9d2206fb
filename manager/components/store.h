// The components of this manager with their stored values and relations, in memory.
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "manager/base/component_name.h"
#include "manager/base/oid.h"
#include "manager/components/agent_index.h"

namespace ox::manager {

struct Value {
  std::uint32_t type = 0;
  std::string bytes{};  // in the data node's stored form
  bool operator==(const Value&) const = default;
};

struct Relation {
  std::string name;
  ComponentName from;
  ComponentName to;
  auto operator<=>(const Relation&) const = default;
};

// One change of the store. Applying a change that is already in force changes nothing.
struct Change {
  enum class Kind { add, remove, set, unset, relate, unrelate };
  Kind kind = Kind::add;
  ComponentName component{};  // add, remove, set, unset
  Oid path{};                 // set, unset
  Value value{};              // set
  Relation relation{};        // relate, unrelate
};

using Values = std::map<Oid, Value>;

class Store {
 public:
  Store();  // with the built-in components

  // Unknown components, and the removal of built-in ones, are passed over.
  void apply(const Change& change);

  [[nodiscard]] bool has(const ComponentName& name) const { return values(name) != nullptr; }
  // Null for an unknown component.
  [[nodiscard]] const Values* values(const ComponentName& name) const;
  [[nodiscard]] const Value* value(const ComponentName& name, const Oid& path) const;
  // The nodes by the addresses of their agents.
  [[nodiscard]] const AgentIndex& agents() const { return agents_; }
  // The components of a type whose names match the pattern, by name.
  [[nodiscard]] std::vector<ComponentName> matching(const ComponentName& pattern) const;
  [[nodiscard]] static bool is_built_in(const ComponentName& name);

  [[nodiscard]] bool has(const Relation& relation) const { return relations_.contains(relation); }
  // The relations that a component takes part in, on either side.
  [[nodiscard]] std::vector<Relation> relations_of(const ComponentName& name) const;

  // A name that no component of the type has: the type's name and a number.
  [[nodiscard]] std::string free_name(const std::string& type);

  // The changes that make this store from an empty one.
  void visit(const std::function<void(const Change&)>& visitor) const;

 private:
  using Components = std::map<std::string, Values, std::less<>>;

  void add(const ComponentName& name);
  void set(const ComponentName& name, const Oid& path, const Value& value);
  void unset(const ComponentName& name, const Oid& path);
  void remove(const ComponentName& name);
  void relate(const Relation& relation);
  void unrelate(const Relation& relation);
  [[nodiscard]] Values* find(const ComponentName& name);

  std::map<std::string, Components, std::less<>> types_;
  std::set<Relation> relations_;
  std::map<ComponentName, std::set<const Relation*>> by_end_;  // into relations_
  std::map<std::string, std::uint32_t> next_number_;
  AgentIndex agents_;
};

}  // namespace ox::manager
