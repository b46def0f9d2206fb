// The components of this manager with their stored values and relations, in memory.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "manager/base/component_name.h"
#include "manager/base/oid.h"
#include "manager/components/agent_index.h"
#include "manager/components/name_index.h"

namespace ox::manager {

struct Value {
  std::uint32_t type = 0;
  std::string bytes{};    // in the data node's stored form
  std::uint64_t row = 0;  // of the database
  bool operator==(const Value& other) const { return type == other.type && bytes == other.bytes; }
};

struct Relation {
  std::string name;
  ComponentName from;
  ComponentName to;
  auto operator<=>(const Relation&) const = default;
};

// One change of the store; a batch adds a component or removes it, not both. Applying a change that is already in force
// changes nothing.
struct Change {
  enum class Kind { add, remove, set, unset, relate, unrelate };
  Kind kind = Kind::add;
  ComponentName component{};  // add, remove, set, unset
  Oid path{};                 // set, unset
  Value value{};              // set
  Relation relation{};        // relate, unrelate
  std::uint64_t row = 0;      // of the database, for what is new
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
  [[nodiscard]] static ComponentName built_in_name() { return {"system", "system"}; }  // its row is 0

  [[nodiscard]] bool has(const Relation& relation) const { return relations_.contains(relation); }
  // The rows of the database; nothing for what is unknown.
  [[nodiscard]] std::optional<std::uint64_t> row(const ComponentName& name) const;
  [[nodiscard]] std::optional<std::uint64_t> row(const Relation& relation) const;
  // The change that takes away one value or relation of a component; nothing when it has none.
  [[nodiscard]] std::optional<Change> part_of(const ComponentName& name) const;
  // The relations that a component takes part in, on either side.
  [[nodiscard]] std::vector<Relation> relations_of(const ComponentName& name) const;

  // The changes that make it of an empty one, with their rows.
  template <class Take>
  void each(const Take& take) const {
    for (const auto& [type, components] : types_) {
      for (const auto& [name, component] : components.in_order) each_of({type, name}, component, take);
    }
    for (const auto& [relation, row] : relations_) {
      take({.kind = Change::Kind::relate, .relation = relation, .row = row});
    }
  }

  // What it holds: components and values, and the bytes of these and of their names.
  struct Size {
    std::uint64_t count = 0;
    std::uint64_t bytes = 0;
  };
  [[nodiscard]] const Size& size() const { return size_; }

  // Another number when components have come or gone; from 1.
  [[nodiscard]] std::uint64_t generation() const { return generation_; }

  // A name that no component of the type has, nor was given here before: the type's name and a number. `mark` keeps it
  // from being given again, also after a restart; it is committed with the component.
  struct NewName {
    std::string name;
    Change mark;
  };
  [[nodiscard]] NewName new_name(const std::string& type) const;

 private:
  struct Component {
    std::uint64_t row = 0;
    Values values{};
  };
  struct Components {
    std::map<std::string, Component> in_order;
    NameIndex<std::map<std::string, Component>::value_type> by_name;  // into that
  };

  template <class Take>
  static void each_of(const ComponentName& name, const Component& component, const Take& take) {
    if (!is_built_in(name)) take({.component = name, .row = component.row});
    for (const auto& [path, value] : component.values) {
      take({.kind = Change::Kind::set, .component = name, .path = path, .value = value, .row = value.row});
    }
  }

  void count(std::size_t bytes) {
    ++size_.count;
    size_.bytes += bytes;
  }
  void uncount(std::size_t bytes) {
    --size_.count;
    size_.bytes -= bytes;
  }
  void add(const ComponentName& name, std::uint64_t row);
  void set(const ComponentName& name, const Oid& path, const Value& value, std::uint64_t row);
  void unset(const ComponentName& name, const Oid& path);
  void remove(const ComponentName& name);
  void relate(const Relation& relation, std::uint64_t row);
  void unrelate(const Relation& relation);
  [[nodiscard]] const Component* find(const ComponentName& name) const;
  [[nodiscard]] Values* find_values(const ComponentName& name);

  std::map<std::string, Components, std::less<>> types_;
  std::map<Relation, std::uint64_t> relations_;
  std::map<ComponentName, std::set<const Relation*>> by_end_;  // into relations_
  AgentIndex agents_;
  Size size_;
  std::uint64_t generation_ = 1;
};

}  // namespace ox::manager
