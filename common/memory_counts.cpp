#include "common/memory_counts.h"

#include <new>

namespace ox::memory {
namespace {

constinit std::atomic<Counts*> all{nullptr};

}  // namespace

Counts* hold_counts() noexcept {
  for (Counts* counts = all.load(std::memory_order_acquire); counts != nullptr; counts = counts->next) {
    bool held = false;
    if (counts->held.compare_exchange_strong(held, true, std::memory_order_acquire)) return counts;
  }
  auto* const made = new (std::nothrow) Counts;
  if (made == nullptr) return nullptr;
  made->next = all.load(std::memory_order_relaxed);
  while (!all.compare_exchange_weak(made->next, made, std::memory_order_release, std::memory_order_relaxed)) {
  }
  return made;
}

void hand_on(Counts* counts) noexcept {
  if (counts != nullptr) counts->held.store(false, std::memory_order_release);
}

Sums sums_of_counts() noexcept {
  Sums sums;
  for (const Counts* counts = all.load(std::memory_order_acquire); counts != nullptr; counts = counts->next) {
    sums.live += counts->live.load(std::memory_order_relaxed);
    sums.serial += counts->serial.load(std::memory_order_relaxed);
  }
  return sums;
}

}  // namespace ox::memory
