// The thread-local slot's part in the library's load and unload.
#pragma once

namespace ox::platform {

// Allocates the slot; false when the process has none left.
[[nodiscard]] bool attach_thread_slot() noexcept;

// Releases what the calling thread has: it ends.
void detach_thread_slot() noexcept;

// Releases what every thread has, and the slot: the library is unloaded.
void release_thread_slots() noexcept;

}  // namespace ox::platform
