// Load and unload of the library.
#pragma once

namespace ox::platform {

// Defined by the library (common/attach.cpp); called by the backend when the library is loaded into a process and when
// it is unloaded, which the end of the process is not: other threads may use the library until then. A false result
// fails the load where the platform can fail it.
bool on_process_attach() noexcept;
void on_process_detach() noexcept;
// For the loading thread, and each that begins later, where the platform tells of them; all others have their state
// made at their first call.
void on_thread_attach() noexcept;

// Whether the library is being unloaded. Static objects whose destructors run at the end of the process, too, leave
// what they have to the system then.
[[nodiscard]] bool is_unloading() noexcept;

}  // namespace ox::platform
