// Tables, and the texts of the statements that go with them.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace ox::manager {

// The first column is the key, an integer. Behind the last one stands the row's checksum, over the key and all columns.
struct Table {
  std::string_view name;
  std::span<const std::string_view> columns;
};

// How many rows have a key up to that one.
struct RowCount {
  std::uint64_t up_to = 0;
  std::uint64_t rows = 0;
};
// The table that keeps them; it has a row for each other table, by its place.
inline constexpr std::array<std::string_view, 4> count_columns{"id", "name", "up_to", "rows"};
inline constexpr Table count_table{"row_counts", count_columns};

[[nodiscard]] std::string create_text(const Table& table);
// A row that is new, or in place of that with its key.
[[nodiscard]] std::string put_text(const Table& table);
[[nodiscard]] std::string erase_text(const Table& table);
// The columns in their order and then whether the checksum holds, of the rows that `which` chooses ("WHERE ... ORDER
// BY ...").
[[nodiscard]] std::string select_text(const Table& table, std::string_view which);
// How many rows have keys behind the one given, and the highest of them.
[[nodiscard]] std::string newest_text(const Table& table);

}  // namespace ox::manager
