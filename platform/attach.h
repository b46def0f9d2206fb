// Load and unload of the library.
#pragma once

namespace ox::platform {

// Defined by the library (common/attach.cpp); called by the backend when the library is loaded into a process and
// when it is unloaded or the process ends. A false result fails the load where the platform can fail it.
bool on_process_attach() noexcept;
void on_process_detach() noexcept;

}  // namespace ox::platform
