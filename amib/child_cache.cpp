#include "amib/child_cache.h"

#include <atomic>

#include "amib/name_hash.h"

namespace ox::amib {
namespace {

constexpr std::size_t cache_size = 1u << 15;

std::atomic<Ref> cache[cache_size];
std::atomic<bool> used{false};

// A reference may lead into a block that the tree's owner added after this process had attached: such a node is not
// there yet.
template <class Same>
Ref find_sibling(Ref first, Same same) noexcept {
  for (Ref ref = first; is_mapped(ref); ref = node_at(ref).next) {
    if (same(node_at(ref))) return ref;
  }
  return 0;
}

template <class Same>
Ref find_child(Ref parent, std::uint32_t hash, Same same) noexcept {
  const Ref first = node_at(parent).child;
  if (first == 0) return 0;
  std::atomic<Ref>& entry = cache[hash % cache_size];
  const Ref known = entry.load(std::memory_order_relaxed);
  if (known != 0 && node_at(known).parent == parent && same(node_at(known))) return known;
  const Ref found = find_sibling(first, same);
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
