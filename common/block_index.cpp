#include "common/block_index.h"

#include <cstring>

#include "platform/heap.h"

namespace ox::memory {
namespace {

constexpr std::size_t first_slots = 1024;
constexpr std::size_t chunk_records = 128;

}  // namespace

struct BlockIndex::Chunk {
  Chunk* next;
  Record records[chunk_records];
};

std::size_t BlockIndex::home(const void* block) const noexcept {
  // Blocks lie at multiples of 16, or of 8 on 32-bit systems; the multiplication spreads what is left over the word.
  const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(block) >> 3);
  return static_cast<std::size_t>((address * 0x9E3779B97F4A7C15u) >> 32) & mask_;
}

// The slot of a block, or the empty one where it would stand.
std::size_t BlockIndex::slot_of(const void* block) const noexcept {
  std::size_t slot = home(block);
  while (slots_[slot].block != nullptr && slots_[slot].block != block) slot = (slot + 1) & mask_;
  return slot;
}

Record* BlockIndex::find(const void* block) const noexcept {
  return slots_ != nullptr ? slots_[slot_of(block)].record : nullptr;
}

// Makes room for one more.
bool BlockIndex::reserve() noexcept {
  if (slots_ != nullptr && used_ < (mask_ + 1) / 2) return true;
  const std::size_t count = slots_ != nullptr ? 2 * (mask_ + 1) : first_slots;
  auto* slots = static_cast<Slot*>(platform::heap_allocate_zeroed(count * sizeof(Slot)));
  if (slots == nullptr) return slots_ != nullptr && used_ < mask_;  // fuller than it should be, but it works
  platform::heap_free(slots_);
  slots_ = slots;
  mask_ = count - 1;
  used_ = 0;
  for (Record* record = head_; record != nullptr; record = record->next) insert(record);
  return true;
}

void BlockIndex::insert(Record* record) noexcept {
  slots_[slot_of(record->block)] = {record->block, record};
  ++used_;
}

void BlockIndex::erase(std::size_t slot) noexcept {
  std::size_t gap = slot;
  for (std::size_t at = (gap + 1) & mask_; slots_[at].block != nullptr; at = (at + 1) & mask_) {
    // An entry may fill the gap when its home does not lie between the gap and itself.
    const std::size_t distance = (at - home(slots_[at].block)) & mask_;
    if (distance >= ((at - gap) & mask_)) {
      slots_[gap] = slots_[at];
      gap = at;
    }
  }
  slots_[gap] = {nullptr, nullptr};
  --used_;
}

Record* BlockIndex::take_record() noexcept {
  if (free_ == nullptr) {
    auto* chunk = static_cast<Chunk*>(platform::heap_allocate_zeroed(sizeof(Chunk)));
    if (chunk == nullptr) return nullptr;
    chunk->next = chunks_;
    chunks_ = chunk;
    for (std::size_t i = chunk_records; i-- != 0;) {
      chunk->records[i].next = free_;
      free_ = &chunk->records[i];
    }
  }
  Record* record = free_;
  free_ = record->next;
  return record;
}

Record* BlockIndex::add(void* block) noexcept {
  if (!reserve()) return nullptr;
  Record* record = take_record();
  if (record == nullptr) return nullptr;
  *record = {};
  record->block = block;
  if (head_ == nullptr) {
    head_ = record->prev = record;
  } else {
    record->prev = head_->prev;
    head_->prev->next = record;
    head_->prev = record;
  }
  insert(record);
  return record;
}

void BlockIndex::move(Record* record, void* block) noexcept {
  erase(slot_of(record->block));
  record->block = block;
  insert(record);
}

void BlockIndex::remove(Record* record) noexcept {
  erase(slot_of(record->block));
  if (record == head_) {
    head_ = record->next;
    if (head_ != nullptr) head_->prev = record->prev;
  } else {
    record->prev->next = record->next;
    (record->next != nullptr ? record->next : head_)->prev = record->prev;
  }
  record->next = free_;
  free_ = record;
}

void BlockIndex::clear() noexcept {
  while (Chunk* chunk = chunks_) {
    chunks_ = chunk->next;
    platform::heap_free(chunk);
  }
  platform::heap_free(slots_);
  *this = BlockIndex();
}

}  // namespace ox::memory
