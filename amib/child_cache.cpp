#include "amib/child_cache.h"

#include <atomic>

#include "amib/name_hash.h"
#include "amib/sibling_index.h"
#include "amib/tree.h"

namespace ox::amib {
namespace {

constexpr std::size_t cache_size = 1u << 15;

std::atomic<Ref> cache[cache_size];
std::atomic<bool> used{false};

// Null while it does not know the tree's newest node.
const SiblingIndex* usable_index() noexcept {
  const SiblingIndex* const index = current_siblings().index;
  if (index == nullptr) return nullptr;
  return index->newest.load(std::memory_order_acquire) == directory()->newest ? index : nullptr;
}

// A reference may lead into a block that the tree's owner added after this process had attached: such a node is not
// there yet.
template <class Same>
Ref find_sibling(Ref first, std::uint32_t hash, Same same) noexcept {
  unsigned walked = 0;
  for (Ref ref = first; is_mapped(ref); ref = node_at(ref).next) {
    if (walked++ == near_siblings) {
      if (const SiblingIndex* const index = usable_index()) return index->find(hash, same);
    }
    if (same(ref)) return ref;
  }
  return 0;
}

template <class Same>
Ref find_child(Ref parent, std::uint32_t hash, Same same) noexcept {
  const Ref first = node_at(parent).child;
  if (first == 0) return 0;
  std::atomic<Ref>& entry = cache[hash % cache_size];
  const auto is_child = [&](Ref ref) { return node_at(ref).parent == parent && same(node_at(ref)); };
  const Ref known = entry.load(std::memory_order_relaxed);
  if (known != 0 && is_child(known)) return known;
  const Ref found = find_sibling(first, hash, is_child);
  if (found != 0) {
    entry.store(found, std::memory_order_relaxed);
    if (!used.load(std::memory_order_relaxed)) used.store(true, std::memory_order_relaxed);
  }
  return found;
}

}  // namespace

Ref child_named(Ref parent, const char* name, std::size_t size) noexcept {
  return find_child(parent, hash_name(parent, name, size),
                    [=](const Node& node) { return is_name(node.name(), name, size); });
}

Ref child_numbered(Ref parent, std::uint32_t number) noexcept {
  return find_child(parent, hash_number(parent, number), [=](const Node& node) { return node.number == number; });
}

void clear_child_cache() noexcept {
  if (!used.exchange(false)) return;
  for (std::atomic<Ref>& entry : cache) entry.store(0, std::memory_order_relaxed);
}

}  // namespace ox::amib
