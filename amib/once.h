// A table that the process reads from files on first use and keeps until it ends.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include <oxbase/oxtypes.h>

namespace ox::amib {

// One thread loads, others wait for it; once loaded, no lock is taken. A failed load is tried again on the next use.
template <class Table>
class Once {
 public:
  // The table stays null on failure.
  OX_RESULT get(OX_RESULT (*load)(Table&), const Table*& table) {
    table = loaded_.load(std::memory_order_acquire);
    if (table != nullptr) return OX_OK;
    const std::lock_guard guard(lock_);
    table = loaded_.load(std::memory_order_relaxed);
    if (table != nullptr) return OX_OK;
    auto made = std::make_unique<Table>();
    if (const OX_RESULT result = load(*made); result != OX_OK) return result;
    owner_ = std::move(made);
    table = owner_.get();
    loaded_.store(table, std::memory_order_release);
    return OX_OK;
  }

 private:
  std::mutex lock_;
  std::unique_ptr<const Table> owner_;  // guarded by lock_
  std::atomic<const Table*> loaded_{nullptr};
};

}  // namespace ox::amib
