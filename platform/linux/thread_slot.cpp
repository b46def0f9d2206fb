#include "platform/thread_slot.h"

#include <pthread.h>

namespace ox::platform {
namespace {

thread_local void* slot = nullptr;
thread_local void (*slot_release)(void*) = nullptr;

// A key's destructor runs when a thread ends but not when the process does, which a thread_local object's would.
void release_slot(void*) {
  // The value stays readable while it is being released, as during the detach of a thread elsewhere.
  if (slot != nullptr && slot_release != nullptr) slot_release(slot);
  slot = nullptr;
}

struct Key {
  pthread_key_t key{};
  bool made = pthread_key_create(&key, release_slot) == 0;
};

}  // namespace

void* thread_slot() noexcept { return slot; }

bool set_thread_slot(void* value, void (*release)(void*)) noexcept {
  static const Key key;
  if (!key.made || pthread_setspecific(key.key, value) != 0) return false;
  slot = value;
  slot_release = release;
  return true;
}

}  // namespace ox::platform
