// The module that holds this code: the library, or a program that the library's parts are linked into.
#pragma once

#include <windows.h>

#include <string>

namespace ox::platform {

[[nodiscard]] HINSTANCE own_module() noexcept;
[[nodiscard]] std::string own_directory();  // with its last backslash

}  // namespace ox::platform
