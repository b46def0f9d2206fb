// One pointer per thread for the library, released when the thread detaches from it.
#pragma once

namespace ox::platform {

// The calling thread's pointer; null until set. A load on the fast path.
[[nodiscard]] void* thread_slot() noexcept;

// Sets the pointer. `release` is called with it on the owning thread when that thread ends or the library is unloaded;
// for threads still alive at an unload it is called from the unloading thread. At process end it is not called.
// A Linux process keeps the library once it is loaded, so that threads that end later find the code.
// False when the platform has no room for it.
[[nodiscard]] bool set_thread_slot(void* value, void (*release)(void*)) noexcept;

}  // namespace ox::platform
