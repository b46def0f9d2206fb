// The records of live tracked blocks, found by address in constant time and listed in allocation order.
#pragma once

#include <cstddef>
#include <cstdint>

#include <oxbase/oxtypes.h>

namespace ox::memory {

// A tracked block.
struct Record {
  Record* next;
  Record* prev;
  void* block;
  std::uint32_t serial;
  std::uint32_t size;  // as requested
  const char* tag;
};

class BlockIndex {
 public:
  constexpr BlockIndex() = default;

  [[nodiscard]] Record* first() const noexcept { return head_; }
  [[nodiscard]] Record* find(const void* block) const noexcept;
  // Appends a zero-filled record of the block to the list. Null when memory runs out.
  [[nodiscard]] Record* add(void* block) noexcept;
  // Gives a record another block; the record keeps its place in the list.
  void move(Record* record, void* block) noexcept;
  void remove(Record* record) noexcept;
  // Gives everything back to the system, at unload.
  void clear() noexcept;

 private:
  // Open addressing with linear probing: at most half of the slots are used, a removal closes its gap.
  struct Slot {
    const void* block;
    Record* record;
  };
  struct Chunk;

  [[nodiscard]] std::size_t home(const void* block) const noexcept;
  [[nodiscard]] std::size_t slot_of(const void* block) const noexcept;
  [[nodiscard]] bool reserve() noexcept;
  void insert(Record* record) noexcept;
  void erase(std::size_t slot) noexcept;
  [[nodiscard]] Record* take_record() noexcept;

  Record* head_ = nullptr;
  Slot* slots_ = nullptr;
  std::size_t mask_ = 0;  // slots - 1
  std::size_t used_ = 0;
  Record* free_ = nullptr;   // linked through next
  Chunk* chunks_ = nullptr;  // records come from the system in chunks
};

}  // namespace ox::memory
