#include "platform/thread_slot.h"

#include <pthread.h>

namespace ox::platform {
namespace {

// Asked for at every allocation: found without a call, in the room that is kept for libraries loaded later.
[[gnu::tls_model("initial-exec")]] thread_local void* slot = nullptr;
thread_local void (*slot_release)(void*) = nullptr;

// A key's destructor runs when a thread ends but not when the process does, which a thread_local object's would.
void release_slot(void*) {
  // The value stays readable while it is being released, as during the detach of a thread elsewhere.
  if (slot != nullptr && slot_release != nullptr) slot_release(slot);
  slot = nullptr;
}

constinit pthread_key_t key{};
constinit bool key_made = false;

// Before whatever else happens at the load, and not at a first use, which a fork of another thread could come upon.
[[gnu::constructor(200)]] void make_key() { key_made = pthread_key_create(&key, release_slot) == 0; }

}  // namespace

void* thread_slot() noexcept { return slot; }

bool set_thread_slot(void* value, void (*release)(void*)) noexcept {
  if (!key_made || pthread_setspecific(key, value) != 0) return false;
  slot = value;
  slot_release = release;
  return true;
}

}  // namespace ox::platform
