// One slot of the system, and a list of what it holds: an unload must release for threads that go on living. An object
// with a destructor in thread-local storage would keep the library loaded instead.
#include "platform/windows/thread_slot.h"

#include <windows.h>

#include <mutex>
#include <new>
#include <utility>

#include "platform/thread_slot.h"

namespace ox::platform {
namespace {

struct Entry {
  void* value;
  void (*release)(void*);
  Entry* next;
  Entry** link;  // what points here
};

std::mutex guard;  // the list
Entry* entries = nullptr;
DWORD slot = TLS_OUT_OF_INDEXES;

// A program that holds the library's parts itself has no attach.
bool has_slot() noexcept {
  const std::lock_guard lock(guard);
  if (slot == TLS_OUT_OF_INDEXES) slot = ::TlsAlloc();
  return slot != TLS_OUT_OF_INDEXES;
}

// The system's error stays what it was: who allocates between a failure and the question for its reason loses nothing.
Entry* own_entry() noexcept {
  const DWORD error = ::GetLastError();
  auto* const entry = static_cast<Entry*>(::TlsGetValue(slot));
  ::SetLastError(error);
  return entry;
}

void unlink(Entry* entry) noexcept {
  const std::lock_guard lock(guard);
  *entry->link = entry->next;
  if (entry->next != nullptr) entry->next->link = entry->link;
}

}  // namespace

void* thread_slot() noexcept {
  if (slot == TLS_OUT_OF_INDEXES) return nullptr;
  const Entry* entry = own_entry();
  return entry != nullptr ? entry->value : nullptr;
}

bool set_thread_slot(void* value, void (*release)(void*)) noexcept {
  if (!has_slot()) return false;
  if (Entry* entry = own_entry()) {
    entry->value = value;
    entry->release = release;
    return true;
  }
  auto* entry = new (std::nothrow) Entry{value, release, nullptr, &entries};
  if (entry == nullptr || ::TlsSetValue(slot, entry) == FALSE) {
    delete entry;
    return false;
  }
  const std::lock_guard lock(guard);
  entry->next = entries;
  if (entries != nullptr) entries->link = &entry->next;
  entries = entry;
  return true;
}

bool attach_thread_slot() noexcept { return has_slot(); }

void detach_thread_slot() noexcept {
  if (slot == TLS_OUT_OF_INDEXES) return;
  Entry* const entry = own_entry();
  if (entry == nullptr) return;
  // The value stays readable while it is being released.
  if (entry->value != nullptr) entry->release(entry->value);
  (void)::TlsSetValue(slot, nullptr);
  unlink(entry);
  delete entry;
}

void release_thread_slots() noexcept {
  detach_thread_slot();
  while (Entry* const entry = entries) {
    if (entry->value != nullptr) entry->release(entry->value);
    unlink(entry);
    delete entry;
  }
  if (slot != TLS_OUT_OF_INDEXES) (void)::TlsFree(std::exchange(slot, TLS_OUT_OF_INDEXES));
}

}  // namespace ox::platform
