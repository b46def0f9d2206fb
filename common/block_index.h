// The records of live tracked blocks, found by address in constant time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ox::memory {

// A tracked block.
struct Record {
  void* block;
  const char* tag;
  std::uint32_t serial;  // rises with every allocation, and so tells their order
  std::uint32_t size;    // as requested
};

// Open addressing with linear probing. The records stand in the slots themselves and no links join them, so that an
// allocation and a release touch one line of memory each; whoever wants the blocks in order sorts by serial. A released
// block's slot is kept: the system soon gives the same address again.
class BlockIndex {
 public:
  constexpr BlockIndex() = default;

  // Records are found, changed and removed through the address of their slot, which holds until the next add, move or
  // remove.
  [[nodiscard]] Record* find(const void* block) const noexcept;
  // False when memory runs out.
  [[nodiscard]] bool add(const Record& record) noexcept;
  // Gives a record another block. False when memory runs out; the record is gone then.
  [[nodiscard]] bool move(Record* record, void* block) noexcept;
  void remove(Record* record) noexcept;
  // Copies of all records, in no order. Throws std::bad_alloc.
  [[nodiscard]] std::vector<Record> records() const;
  // Gives everything back to the system, at unload.
  void clear() noexcept;

 private:
  [[nodiscard]] std::size_t home(const void* block) const noexcept;
  [[nodiscard]] Record* slot_of(const void* block) const noexcept;
  [[nodiscard]] bool reserve() noexcept;
  [[nodiscard]] bool rebuild(std::size_t count) noexcept;
  void put(const Record& record) noexcept;

  Record* slots_ = nullptr;
  std::size_t mask_ = 0;  // slots - 1
  std::size_t used_ = 0;  // slots with a block, live or gone
  std::size_t live_ = 0;
};

}  // namespace ox::memory
