// The module that holds this code: the library, or a program that the library's parts are linked into.
#pragma once

#include <windows.h>

#include <string>

namespace ox::platform {

[[nodiscard]] HINSTANCE own_module() noexcept;
void set_unloading() noexcept;              // see is_unloading()
[[nodiscard]] std::string own_directory();  // with its last backslash

}  // namespace ox::platform
