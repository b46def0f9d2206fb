// Paths are composed here, with the platform's separator.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace ox {

// Longest path, with its terminator, that the definition and trace files accept.
inline constexpr std::size_t max_path = 260;

// Parts joined by the platform's separator; separators inside a part are turned into it. Empty parts stay, so that an
// empty directory gives a path at the root.
[[nodiscard]] std::string join_path(std::initializer_list<std::string_view> parts);

[[nodiscard]] bool is_separator(char c) noexcept;  // either platform's
// Turns both separators into the platform's.
void use_platform_separator(std::string& path) noexcept;

// Paths under the work directory and the home directory: work_path({"public", "amib"}).
[[nodiscard]] std::string work_path(std::initializer_list<std::string_view> parts);
[[nodiscard]] std::string home_path(std::initializer_list<std::string_view> parts);

}  // namespace ox
