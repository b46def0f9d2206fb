// Finds an entry by its name's hash: one slot, then the entry itself, however many there are.
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>
#include <utility>
#include <vector>

namespace ox::manager {

// Entries begin with their name, `first`, and stay where they are.
template <class Entry>
class NameIndex {
 public:
  // Null when there is none.
  [[nodiscard]] Entry* find(std::string_view name) const {
    return slots_.empty() ? nullptr : slots_[place_of(name, hash_of(name))].entry;
  }

  // One of a name that is there already changes nothing.
  void add(Entry& entry) {
    if (2 * (count_ + 1) > slots_.size()) grow();
    const std::size_t hash = hash_of(entry.first);
    Slot& slot = slots_[place_of(entry.first, hash)];
    if (slot.entry == nullptr) ++count_;
    slot = {hash, &entry};
  }

  void erase(std::string_view name) {
    if (slots_.empty()) return;
    std::size_t gap = place_of(name, hash_of(name));
    if (std::exchange(slots_[gap].entry, nullptr) == nullptr) return;
    --count_;
    // What stands behind the gap is found from there on when it could not stand nearer to its own place.
    for (std::size_t i = next(gap); slots_[i].entry != nullptr; i = next(i)) {
      if (distance(slots_[i].hash, i) < distance(gap, i)) continue;
      slots_[gap] = std::exchange(slots_[i], {});
      gap = i;
    }
  }

 private:
  struct Slot {
    std::size_t hash = 0;
    Entry* entry = nullptr;
  };
  static constexpr std::size_t least = 8;

  static std::size_t hash_of(std::string_view name) { return std::hash<std::string_view>()(name); }
  [[nodiscard]] std::size_t own_place(std::size_t hash) const { return hash & (slots_.size() - 1); }
  [[nodiscard]] std::size_t next(std::size_t place) const { return own_place(place + 1); }
  // How far a place is behind that of a hash.
  [[nodiscard]] std::size_t distance(std::size_t hash, std::size_t place) const { return own_place(place - hash); }

  // Its slot, or the empty one in which it would stand.
  [[nodiscard]] std::size_t place_of(std::string_view name, std::size_t hash) const {
    std::size_t place = own_place(hash);
    while (slots_[place].entry != nullptr && (slots_[place].hash != hash || slots_[place].entry->first != name)) {
      place = next(place);
    }
    return place;
  }

  void grow() {
    const std::vector<Slot> old = std::exchange(slots_, std::vector<Slot>(slots_.empty() ? least : 2 * slots_.size()));
    for (const Slot& slot : old) {
      if (slot.entry != nullptr) slots_[place_of(slot.entry->first, slot.hash)] = slot;
    }
  }

  std::vector<Slot> slots_;  // a power of two, half of them empty at least
  std::size_t count_ = 0;
};

}  // namespace ox::manager
