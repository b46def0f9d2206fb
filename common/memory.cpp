// The tracked allocator. Counters and list take no lock: the counters are exact for one allocating thread at a time
// while tracking is on, and for any number of threads while it is off, when each counts for itself.
#include "common/memory.h"

#include <algorithm>
#include <atomic>
#include <cstdio>

#include "common/context.h"
#include "common/memory_counts.h"
#include "common/memory_state.h"
#include "common/trace.h"
#include "platform/heap.h"

namespace ox::memory {
namespace {

constexpr std::uint32_t spare = 4;  // bytes after every block, for the guard
constexpr unsigned char guard = '@';
constexpr unsigned char released = 0x55;

// A statistic that many threads may touch but that never orders anything.
class Counter {
 public:
  [[nodiscard]] std::uint32_t get() const noexcept { return value_.load(std::memory_order_relaxed); }
  void set(std::uint32_t value) noexcept { value_.store(value, std::memory_order_relaxed); }
  // With tracking on only one thread allocates, and the plain form is several times cheaper.
  void add(std::uint32_t amount) noexcept { set(get() + amount); }
  void add_with_others(std::uint32_t amount) noexcept { value_.fetch_add(amount, std::memory_order_relaxed); }

 private:
  std::atomic<std::uint32_t> value_{0};
};

struct State {
  Counter live;              // beside those of the threads
  Counter serial;            // the same
  Counter untracked_serial;  // what the threads had counted when tracking was switched on
  Counter bytes;
  Counter peak;
  Counter tracking;
  BlockIndex blocks;
  bool resized_in_place = false;  // records may say less than their blocks have
};
State state;

[[nodiscard]] bool tracking() noexcept { return state.tracking.get() != 0; }

[[nodiscard]] std::uint32_t live() noexcept { return state.live.get() + sums_of_counts().live; }

// Of a tracked block: the threads count nothing meanwhile.
[[nodiscard]] std::uint32_t serial() noexcept { return state.serial.get() + state.untracked_serial.get(); }

// For want of memory the thread has no counts of its own.
[[gnu::noinline]] void count_with_others(std::uint32_t blocks, std::uint32_t allocations) noexcept {
  state.live.add_with_others(blocks);
  state.serial.add_with_others(allocations);
}

// A block more, or one less: UINT32_MAX of them.
void count(std::uint32_t blocks, std::uint32_t allocations) noexcept {
  if (Counts* const mine = thread_counts()) [[likely]]
    return mine->add(blocks, allocations);
  count_with_others(blocks, allocations);
}

void account(std::uint32_t added, std::uint32_t removed) noexcept {
  const std::uint32_t bytes = state.bytes.get() + added - removed;
  state.bytes.set(bytes);
  if (bytes > state.peak.get()) state.peak.set(bytes);
}

void set_guard(void* block, std::uint32_t size) noexcept { static_cast<unsigned char*>(block)[size] = guard; }

// Starts to track a block, with the present serial. False when memory runs out.
[[nodiscard]] bool track(void* block, std::uint32_t size, const char* tag) noexcept {
  if (!state.blocks.add({block, tag, serial(), size})) return false;
  account(size, 0);
  return true;
}

using SystemAllocate = void* (*)(std::size_t) noexcept;

[[gnu::noinline]] void* allocate_tracked(std::uint32_t size, const char* tag, SystemAllocate system) noexcept {
  void* block = system(static_cast<std::size_t>(size) + spare);
  if (block == nullptr) return nullptr;
  state.live.add(1);
  state.serial.add(1);
  if (!track(block, size, tag)) {
    // The two counters stay raised: callers that watch them see the attempt.
    platform::heap_free(block);
    return nullptr;
  }
  set_guard(block, size);
  OX_TRACE(trace::memory, "MEM(%05u:%x:+:%u:%u:%s)\n", serial(), trace::word(block), live(), size, trace::text(tag));
  return block;
}

void* allocate(std::uint32_t size, const char* tag, SystemAllocate system) noexcept {
  if (size > UINT32_MAX - spare) return nullptr;
  if (tracking()) [[unlikely]]
    return allocate_tracked(size, tag, system);
  void* block = system(static_cast<std::size_t>(size) + spare);
  if (block != nullptr) count(1, 1);
  return block;
}

// The block itself when it has the room, else a larger one with its contents. Null when that cannot be had.
void* resize(void* block, std::uint32_t size) noexcept {
  const std::size_t wanted = static_cast<std::size_t>(size) + spare;
  const std::size_t present = platform::heap_size(block);
  if (present >= wanted) return block;
  void* larger = platform::heap_allocate(wanted);
  if (larger == nullptr) return nullptr;
  std::memcpy(larger, block, present);
  platform::heap_free(block);
  return larger;
}

void* reallocate(void* block, std::uint32_t size, const char* tag) noexcept {
  if (size > UINT32_MAX - spare) return nullptr;
  Record* record = tracking() ? state.blocks.find(block) : nullptr;
  void* result = resize(block, size);
  if (result == nullptr || !tracking()) return result;
  state.resized_in_place = state.resized_in_place || result == block;
  OX_TRACE(trace::memory, "MEM(%05u:%x:*:%u:%u:%s)\n", serial(), trace::word(result), live(), size, trace::text(tag));
  set_guard(result, size);
  if (record == nullptr) {  // from before tracking was switched on
    state.serial.add(1);
    (void)track(result, size, tag);
    return result;
  }
  account(size, record->size);
  record->size = size;
  record->tag = tag;
  if (record->block != result && !state.blocks.move(record, result)) account(0, size);
  return result;
}

// Checks the guard, overwrites the block and forgets it.
void untrack(Record* record) noexcept {
  auto* bytes = static_cast<unsigned char*>(record->block);
  OX_TRACE(trace::memory, "MEM(%05u:%x:-:%u:%s)\n", record->serial, trace::word(record->block), live(),
           trace::text(record->tag));
  if (bytes[record->size] != guard) {
    // Spelt this way since the first release; the log form has two closing signs, the trace form three.
    OX_TRACE(trace::memory, "=== Destroied Memory(0x%x) ===\n", trace::word(record->block));
    char text[64];
    (void)std::snprintf(text, sizeof text, "=== Destroied Memory(0x%x) ==\n", trace::word(record->block));
    (void)oxcSystemLog("TesCommonLibrary", 1, text);
  }
  std::memset(bytes, released, record->size);
  account(0, record->size);
  state.blocks.remove(record);
}

void report_unknown(const void* block) noexcept {
  OX_TRACE(trace::memory, "=== NOT_FOUND_MEM_LIST(0x%x) ===\n", trace::word(block));
  (void)std::fflush(stdout);
  char text[64];
  (void)std::snprintf(text, sizeof text, "=== NOT_FOUND_MEM_LIST(0x%x) ===\n", trace::word(block));
  (void)oxcSystemLog("TesCommonLibrary", 2, text);
}

[[gnu::noinline]] void release_tracked(void* block) noexcept {
  // The block is read behind its record, which says how long it is: all come from memory at the same time.
  __builtin_prefetch(block, 1);
  __builtin_prefetch(static_cast<char*>(block) + 64, 1);
  if (Record* record = state.blocks.find(block)) {
    const std::size_t size = std::size_t{record->size} + spare;
    untrack(record);
    state.resized_in_place ? platform::heap_free(block) : platform::heap_free(block, size);
  } else {
    report_unknown(block);
    platform::heap_free(block);
  }
  state.live.add(UINT32_MAX);
}

void release(void* block) noexcept {
  if (tracking()) [[unlikely]]
    return release_tracked(block);
  count(UINT32_MAX, 0);
  platform::heap_free(block);
}

}  // namespace

std::vector<Record> live_blocks() {
  std::vector<Record> blocks = state.blocks.records();
  // By age, which is right even when the serial has wrapped.
  const std::uint32_t now = serial();
  std::sort(blocks.begin(), blocks.end(),
            [now](const Record& a, const Record& b) { return now - a.serial > now - b.serial; });
  return blocks;
}

void detach() noexcept { state.blocks.clear(); }

}  // namespace ox::memory

namespace memory = ox::memory;

void* OX_CALL oxcMemAlloc(uint32_t size, const char* tag) {
  return memory::allocate(size, tag, ox::platform::heap_allocate);
}

void* OX_CALL oxcMemZalloc(uint32_t size, const char* tag) {
  return memory::allocate(size, tag, ox::platform::heap_allocate_zeroed);
}

void* OX_CALL oxcMemRealloc(void* block, uint32_t newSize, const char* tag) {
  return block != nullptr ? memory::reallocate(block, newSize, tag) : oxcMemAlloc(newSize, tag);
}

OX_RESULT OX_CALL oxcMemFree(void* block) {
  if (block != nullptr) memory::release(block);
  return OX_OK;
}

OX_RESULT OX_CALL oxcFree(void* block) { return oxcMemFree(block); }

uint32_t OX_CALL oxcSetMemDebug(uint32_t flag) {
  if (flag != 0) memory::state.untracked_serial.set(memory::sums_of_counts().serial);
  memory::state.tracking.set(flag);
  return flag;
}

uint32_t OX_CALL oxcGetMemValue(uint32_t index) {
  switch (index) {
    case 1:
      return memory::live();
    case 2:
      return memory::state.serial.get() + memory::sums_of_counts().serial;
    case 3:
      return memory::state.bytes.get();
    case 4:
      return memory::state.peak.get();
    case 5:
      return memory::state.tracking.get();
    default:
      return 0;
  }
}
