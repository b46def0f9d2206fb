#include "amib/node_index.h"

#include <algorithm>
#include <utility>

namespace ox::amib {
namespace {

constexpr std::uint32_t any_parent = 0;  // no node has reference 0

[[nodiscard]] std::string_view name_of(Ref ref) noexcept { return node_at(ref).name(); }

[[nodiscard]] std::uint32_t name_hash(std::uint32_t seed, std::string_view name) noexcept {
  return hash_name(seed, name.data(), name.size());
}

// The hash of a parent alone.
[[nodiscard]] std::uint32_t parent_hash(Ref parent) noexcept { return hash_number(parent, 0); }

[[nodiscard]] Ref value_or_0(const Ref* found) noexcept { return found != nullptr ? *found : 0; }

}  // namespace

void RefTable::clear() noexcept {
  entries_ = {};
  used_ = 0;
}

void RefTable::reserve_one() {
  if ((used_ + 1) * 4 <= entries_.size() * 3) return;
  std::vector<Entry> old(std::max<std::size_t>(64, entries_.size() * 2));
  old.swap(entries_);
  used_ = 0;
  for (const Entry& entry : old) {
    if (entry.ref != 0) insert(entry.hash, entry.ref);
  }
}

void RefTable::insert(std::uint32_t hash, Ref ref) noexcept {
  std::size_t i = hash & mask();
  while (entries_[i].ref != 0) i = (i + 1) & mask();
  entries_[i] = {hash, ref};
  ++used_;
}

// Closes the gap with the entries behind it that would not be found across it.
void RefTable::erase(Ref* found) noexcept {
  std::size_t gap = static_cast<std::size_t>(
      reinterpret_cast<Entry*>(reinterpret_cast<char*>(found) - offsetof(Entry, ref)) - entries_.data());
  for (std::size_t i = (gap + 1) & mask(); entries_[i].ref != 0; i = (i + 1) & mask()) {
    const std::size_t home = entries_[i].hash & mask();
    if (((i - home) & mask()) < ((i - gap) & mask())) continue;
    entries_[gap] = entries_[i];
    gap = i;
  }
  entries_[gap] = {0, 0};
  --used_;
}

void NodeIndex::clear() noexcept {
  for (RefTable* table : {&names_, &numbered_, &named_, &last_}) table->clear();
}

void NodeIndex::reserve_one() {
  for (RefTable* table : {&names_, &numbered_, &named_, &last_}) table->reserve_one();
}

void NodeIndex::rebuild(Ref newest) {
  clear();
  for (Ref ref = newest; is_mapped(ref); ref = node_at(ref).created_before) {
    reserve_one();
    if (newest_named(name_of(ref)) == 0) names_.insert(name_hash(any_parent, name_of(ref)), ref);
    if (node_at(ref).parent == 0) continue;
    insert_child(ref);
    if (node_at(ref).next == 0) last_.insert(parent_hash(node_at(ref).parent), ref);
  }
}

Ref NodeIndex::newest_named(std::string_view name) noexcept {
  return value_or_0(names_.find(name_hash(any_parent, name), [&](Ref ref) { return name_of(ref) == name; }));
}

Ref NodeIndex::child_numbered(Ref parent, std::uint32_t number) noexcept {
  return value_or_0(numbered_.find(hash_number(parent, number), [&](Ref ref) {
    return node_at(ref).parent == parent && node_at(ref).number == number;
  }));
}

Ref NodeIndex::child_named(Ref parent, std::string_view name) noexcept {
  return value_or_0(named_.find(name_hash(parent, name),
                                [&](Ref ref) { return node_at(ref).parent == parent && name_of(ref) == name; }));
}

Ref NodeIndex::last_child(Ref parent) noexcept {
  return value_or_0(last_.find(parent_hash(parent), [&](Ref ref) { return node_at(ref).parent == parent; }));
}

void NodeIndex::insert_child(Ref ref) noexcept {
  const Node& node = node_at(ref);
  numbered_.insert(hash_number(node.parent, node.number), ref);
  named_.insert(name_hash(node.parent, node.name()), ref);
}

Ref NodeIndex::insert(Ref ref) noexcept {
  const std::string_view name = name_of(ref);
  Ref before = 0;
  if (Ref* known = names_.find(name_hash(any_parent, name), [&](Ref other) { return name_of(other) == name; })) {
    before = std::exchange(*known, ref);
  } else {
    names_.insert(name_hash(any_parent, name), ref);
  }
  const Ref parent = node_at(ref).parent;
  if (parent == 0) return before;
  insert_child(ref);
  if (Ref* last = last_.find(parent_hash(parent), [&](Ref other) { return node_at(other).parent == parent; })) {
    *last = ref;
  } else {
    last_.insert(parent_hash(parent), ref);
  }
  return before;
}

void NodeIndex::erase(Ref ref, Ref same_name_before) noexcept {
  const Node& node = node_at(ref);
  const auto is_it = [ref](Ref other) { return other == ref; };
  Ref* name = names_.find(name_hash(any_parent, node.name()), is_it);
  if (same_name_before != 0) {
    *name = same_name_before;
  } else {
    names_.erase(name);
  }
  if (node.parent == 0) return;
  numbered_.erase(numbered_.find(hash_number(node.parent, node.number), is_it));
  named_.erase(named_.find(name_hash(node.parent, node.name()), is_it));
  Ref* last = last_.find(parent_hash(node.parent), is_it);
  if (node.prev != 0) {
    *last = node.prev;
  } else {
    last_.erase(last);
  }
}

}  // namespace ox::amib
