// Blocks allocated and released, counted by each thread for itself: two additions without a lock. All differences are
// of 32 bits and wrap; a block released by another thread than allocated it is right in the sum.
#pragma once

#include <atomic>
#include <cstdint>

namespace ox::memory {

// Written by the thread that holds it, read by any.
struct Counts {
  std::atomic<std::uint32_t> live{0};
  std::atomic<std::uint32_t> serial{0};
  std::atomic<bool> held{true};
  Counts* next = nullptr;

  void add(std::uint32_t blocks, std::uint32_t allocations) noexcept {
    constexpr auto relaxed = std::memory_order_relaxed;
    live.store(live.load(relaxed) + blocks, relaxed);
    if (allocations != 0) serial.store(serial.load(relaxed) + allocations, relaxed);
  }
};

// For the calling thread alone, until hand_on(): those of a thread that has ended, which go on from where they stood,
// or new ones. They are never freed. Null when memory runs out.
[[nodiscard]] Counts* hold_counts() noexcept;
void hand_on(Counts* counts) noexcept;

struct Sums {
  std::uint32_t live = 0;
  std::uint32_t serial = 0;
};
[[nodiscard]] Sums sums_of_counts() noexcept;

}  // namespace ox::memory
