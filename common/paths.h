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

// Separators are those of either platform. They are looked for by characters: a byte that looks like "\\" may be the
// second one of another.

[[nodiscard]] bool has_separator(std::string_view path) noexcept;
// What stands behind the last separator.
[[nodiscard]] std::string_view file_name(std::string_view path) noexcept;
// Whether the directory, or what begins like a path, stands at the path's beginning, with whatever separators.
[[nodiscard]] bool begins_with(std::string_view path, std::string_view directory) noexcept;
[[nodiscard]] bool is_separator(char c) noexcept;  // of a byte that begins a character

// Turns all separators into the platform's.
void use_platform_separator(std::string& path) noexcept;
// Takes away one separator at the end.
void drop_last_separator(std::string& directory) noexcept;

// Paths under the work directory and the home directory: work_path({"public", "amib"}).
[[nodiscard]] std::string work_path(std::initializer_list<std::string_view> parts);
[[nodiscard]] std::string home_path(std::initializer_list<std::string_view> parts);

}  // namespace ox
