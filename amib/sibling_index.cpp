#include "amib/sibling_index.h"

#include <bit>
#include <cstring>
#include <new>

#include "amib/name_hash.h"
#include "amib/shared_blocks.h"
#include "amib/tree.h"

namespace ox::amib {
namespace {

constexpr std::uint32_t format = 1;
constexpr std::uint32_t first_slots = 4096;  // each further key has four times as many

[[nodiscard]] constexpr std::uint32_t key_of(std::uint32_t tree_key, std::uint32_t step) noexcept {
  return tree_key + block_slots + step;
}
[[nodiscard]] constexpr std::uint32_t slots_of(std::uint32_t step) noexcept { return first_slots << (2 * step); }

[[nodiscard]] bool is_index(const ShmView& block) noexcept {
  if (block.size < sizeof(SiblingIndex)) return false;
  const auto& index = *static_cast<const SiblingIndex*>(block.base);
  return index.format == format && std::has_single_bit(index.slots) &&
         index.slots <= (block.size - sizeof(SiblingIndex)) / sizeof(Ref);
}

void enter(SiblingIndex& index, std::uint32_t hash, Ref ref) noexcept {
  while (index.entries()[hash & (index.slots - 1)].load(std::memory_order_relaxed) != 0) ++hash;
  index.entries()[hash & (index.slots - 1)].store(ref, std::memory_order_relaxed);
}

[[nodiscard]] std::uint32_t name_hash(const Node& node) noexcept {
  return hash_name(node.parent, node.name(), std::strlen(node.name()));
}

void enter(SiblingIndex& index, Ref ref) noexcept {
  const Node& node = node_at(ref);
  enter(index, name_hash(node), ref);
  enter(index, hash_number(node.parent, node.number), ref);
}

// Every node stands twice in an index: under its number, and here where its name leads.
[[nodiscard]] bool is_named_place(const SiblingIndex& index, std::uint32_t slot) noexcept {
  const Ref ref = index.entries()[slot];
  if (ref == 0) return false;
  std::uint32_t place = name_hash(node_at(ref));
  while (index.entries()[place & (index.slots - 1)] != ref) ++place;
  return (place & (index.slots - 1)) == slot;
}

void copy_entries(const SiblingIndex& from, SiblingIndex& to) noexcept {
  for (std::uint32_t slot = 0; slot < from.slots; ++slot) {
    if (is_named_place(from, slot)) enter(to, from.entries()[slot]);
  }
}

SiblingIndex* make(std::uint32_t tree_key, std::uint32_t step) {
  const std::uint32_t key = key_of(tree_key, step);
  if (search_shm_entry(key) != nullptr) return nullptr;
  (void)shm_take_name(key);  // of a tree that is no more
  ShmView block;
  if (shm_create(key, static_cast<std::uint32_t>(sizeof(SiblingIndex) + slots_of(step) * sizeof(Ref)), block) != OX_OK)
    return nullptr;
  auto* const index = static_cast<SiblingIndex*>(block.base);
  index->slots = slots_of(step);
  index->format = format;
  return index;
}

// An empty index with room for so many nodes; null when it cannot be had.
SiblingIndex* make_for(std::uint32_t tree_key, std::uint32_t nodes) {
  std::uint32_t step = 0;
  while (step < sibling_index_keys && slots_of(step) / 4 < nodes) ++step;
  if (step == sibling_index_keys) return nullptr;
  const ShmEntry* const entry = search_shm_entry(key_of(tree_key, 0));
  if (entry != nullptr && !entry->handles->writable) return nullptr;  // another's, which this process still holds
  auto* const first = entry != nullptr ? static_cast<SiblingIndex*>(entry->handles->block.data()) : make(tree_key, 0);
  if (first == nullptr || step == 0) return first;
  SiblingIndex* const larger = make(tree_key, step);
  if (larger != nullptr) first->larger.store(step, std::memory_order_release);
  return larger;
}

void reserve(Siblings& siblings, std::uint32_t nodes) {
  if (siblings.index != nullptr && siblings.nodes + nodes <= siblings.index->slots / 4) return;
  SiblingIndex* const larger = make_for(view_key(), siblings.nodes + nodes);
  if (larger != nullptr && siblings.index != nullptr) copy_entries(*siblings.index, *larger);
  siblings.index = larger;
  siblings.lost = larger == nullptr;
}

OX_RESULT map(std::uint32_t tree_key, std::uint32_t step, SiblingIndex*& index) {
  ShmView block;
  const OX_RESULT result = shm_reference_beside(tree_key, key_of(tree_key, step), block);
  index = result == OX_OK && is_index(block) ? static_cast<SiblingIndex*>(block.base) : nullptr;
  return result == OX_ENOSHM ? OX_RESULT{OX_OK} : result;
}

}  // namespace

OX_RESULT map_sibling_index(std::uint32_t tree_key, SiblingIndex*& index) {
  const OX_RESULT result = map(tree_key, 0, index);
  const std::uint32_t step = index != nullptr ? index->larger.load(std::memory_order_acquire) : 0;
  return step == 0 || step >= sibling_index_keys ? result : map(tree_key, step, index);
}

// Siblings mostly follow each other.
bool Places::is_far(Ref ref) noexcept {
  const Ref before = node_at(ref).prev;
  if (before == 0 || before != last_) {
    place_ = 0;
    for (Ref sibling = before; sibling != 0 && place_ < near_siblings; sibling = node_at(sibling).prev) ++place_;
  } else if (place_ < near_siblings) {
    ++place_;
  }
  last_ = ref;
  return place_ >= near_siblings;
}

bool reserve_far_siblings(std::uint32_t nodes) noexcept {
  Siblings siblings = current_siblings();
  if (nodes == 0 || siblings.lost) return !siblings.lost;
  try {
    reserve(siblings, nodes);
  } catch (const std::bad_alloc&) {
    siblings.lost = true;
  }
  siblings.nodes += nodes;
  use_siblings(siblings);
  return !siblings.lost;
}

void enter_far_sibling(Ref ref) noexcept { enter(*current_siblings().index, ref); }

void publish_sibling_index() noexcept {
  SiblingIndex* const index = current_siblings().index;
  if (index != nullptr) index->newest.store(directory()->newest, std::memory_order_release);
}

}  // namespace ox::amib
