// Tables, and the texts of the statements that go with them.
#pragma once

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

[[nodiscard]] std::string create_text(const Table& table);
// A row that is new, or in place of that with its key.
[[nodiscard]] std::string put_text(const Table& table);
[[nodiscard]] std::string erase_text(const Table& table);
// The columns in their order and then whether the checksum holds, of the rows that `which` chooses ("WHERE ... ORDER
// BY ...").
[[nodiscard]] std::string select_text(const Table& table, std::string_view which);

}  // namespace ox::manager
