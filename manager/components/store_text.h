// The lines of the store's files: keyword, colon, values (docs/files.md).
#pragma once

#include <optional>
#include <span>
#include <string>

#include "manager/components/store.h"

namespace ox::manager {

// One line, with its line feed.
[[nodiscard]] std::string to_line(const Change& change);
// A line cut into keyword and values; nothing for a line that is not one of the store's.
[[nodiscard]] std::optional<Change> from_values(std::string_view keyword, std::span<const std::string_view> values);

// The line that ends a batch of lines and carries their checksum.
[[nodiscard]] std::string commit_line(std::string_view batch);
[[nodiscard]] bool commits(std::span<const std::string_view> values, std::string_view batch);
inline constexpr std::string_view commit_keyword = "commit";

}  // namespace ox::manager
