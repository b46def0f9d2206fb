#include "common/block_index.h"

#include <algorithm>
#include <iterator>

#include "platform/heap.h"

namespace ox::memory {
namespace {

constexpr std::size_t first_slots = 1024;
constexpr std::uint32_t gone = UINT32_MAX;  // the size of a record whose block was released; no block has it

[[nodiscard]] bool is_live(const Record& slot) noexcept { return slot.block != nullptr && slot.size != gone; }

}  // namespace

std::size_t BlockIndex::home(const void* block) const noexcept {
  // Blocks lie at multiples of 16, or of 8 on 32-bit systems; the multiplication spreads what is left over the word.
  const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(block) >> 3);
  return static_cast<std::size_t>((address * 0x9E3779B97F4A7C15u) >> 32) & mask_;
}

// The slot of a block, or the empty one where it would stand.
Record* BlockIndex::slot_of(const void* block) const noexcept {
  std::size_t slot = home(block);
  while (slots_[slot].block != nullptr && slots_[slot].block != block) slot = (slot + 1) & mask_;
  return &slots_[slot];
}

Record* BlockIndex::find(const void* block) const noexcept {
  if (slots_ == nullptr) return nullptr;
  Record* record = slot_of(block);
  return is_live(*record) ? record : nullptr;
}

// Makes room for one more: at most two thirds of the slots hold a block, live or gone.
bool BlockIndex::reserve() noexcept {
  const std::size_t present = slots_ != nullptr ? mask_ + 1 : 0;
  if (3 * (used_ + 1) <= 2 * present) return true;
  // Where most blocks are gone, the same size will do.
  return rebuild(std::max(3 * live_ >= present ? 2 * present : present, first_slots)) ||
         used_ + 1 < present;  // fuller than it should be, but it works
}

// In so many slots. False when memory runs out; nothing has changed then.
bool BlockIndex::rebuild(std::size_t count) noexcept {
  auto* slots = static_cast<Record*>(platform::heap_allocate_zeroed(count * sizeof(Record)));
  if (slots == nullptr) return false;
  const std::size_t present = slots_ != nullptr ? mask_ + 1 : 0;
  Record* const old = slots_;
  slots_ = slots;
  mask_ = count - 1;
  used_ = live_;
  for (std::size_t i = 0; i < present; ++i) {
    if (is_live(old[i])) *slot_of(old[i].block) = old[i];
  }
  platform::heap_free(old);
  return true;
}

bool BlockIndex::add(const Record& record) noexcept {
  if (slots_ != nullptr) {
    if (Record* const slot = slot_of(record.block); slot->block != nullptr) {  // its own, from before
      if (!is_live(*slot)) ++live_;
      *slot = record;
      return true;
    }
  }
  if (!reserve()) return false;
  put(record);
  return true;
}

void BlockIndex::put(const Record& record) noexcept {
  Record* slot = slot_of(record.block);
  if (!is_live(*slot)) ++live_;  // else the block went back to the system behind the allocator's back
  if (slot->block == nullptr) ++used_;
  *slot = record;
}

bool BlockIndex::move(Record* record, void* block) noexcept {
  Record moved = *record;
  remove(record);
  moved.block = block;
  return add(moved);
}

void BlockIndex::remove(Record* record) noexcept {
  record->size = gone;
  --live_;
  // A process that held many blocks once need not look for its few in a wide index for ever: each would be far from
  // the others in memory.
  const std::size_t present = mask_ + 1;
  if (8 * live_ < present && present > first_slots) (void)rebuild(std::max(present / 4, first_slots));
}

std::vector<Record> BlockIndex::records() const {
  std::vector<Record> all;
  if (slots_ == nullptr) return all;
  all.reserve(live_);
  std::copy_if(slots_, slots_ + mask_ + 1, std::back_inserter(all), is_live);
  return all;
}

void BlockIndex::clear() noexcept {
  platform::heap_free(slots_);
  *this = BlockIndex();
}

}  // namespace ox::memory
