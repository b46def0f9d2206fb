// Paths of the installation, and small whole-file reads.
#pragma once

#include <string>
#include <string_view>

namespace ox::manager {

[[nodiscard]] std::string join(std::string_view directory, std::string_view name);
template <class... Parts>
[[nodiscard]] std::string join(std::string_view directory, std::string_view name, Parts... more) {
  return join(join(directory, name), more...);
}

// The whole file; empty when there is none. False when it exists and cannot be read.
[[nodiscard]] bool read_file(const std::string& path, std::string& text);
// Makes the directory when it is not there, for the manager's account and its group alone. False when it cannot be
// made.
[[nodiscard]] bool ensure_directory(const std::string& path);

}  // namespace ox::manager
