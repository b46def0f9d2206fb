#include "manager/storage/table.h"

namespace ox::manager {
namespace {

// One text for each column, parted by commas.
template <class Text>
std::string list(const Table& table, const Text& text) {
  std::string all;
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    if (i != 0) all += ", ";
    all += text(i);
  }
  return all;
}

std::string names(const Table& table) {
  return list(table, [&](std::size_t i) { return std::string(table.columns[i]); });
}

std::string numbers(const Table& table) {
  return list(table, [](std::size_t i) { return '?' + std::to_string(i + 1); });
}

std::string text_of(std::string_view text) { return std::string(text); }

}  // namespace

std::string create_text(const Table& table) {
  return "CREATE TABLE " + text_of(table.name) + " (" +
         list(table,
              [&](std::size_t i) {
                return text_of(table.columns[i]) + (i == 0 ? " INTEGER PRIMARY KEY" : " NOT NULL");
              }) +
         ", sum INTEGER NOT NULL)";
}

std::string put_text(const Table& table) {
  std::string text = "INSERT INTO " + text_of(table.name) + " VALUES (" + numbers(table) + ", row_sum(" +
                     numbers(table) + ")) ON CONFLICT (" + text_of(table.columns[0]) + ") DO UPDATE SET ";
  for (const std::string_view column : table.columns.subspan(1)) {
    text += text_of(column) + " = excluded." + text_of(column) + ", ";
  }
  return text + "sum = excluded.sum";
}

std::string erase_text(const Table& table) {
  return "DELETE FROM " + text_of(table.name) + " WHERE " + text_of(table.columns[0]) + " = ?";
}

std::string select_text(const Table& table, std::string_view which) {
  const std::string columns = names(table);
  return "SELECT " + columns + ", sum = row_sum(" + columns + ") FROM " + text_of(table.name) + ' ' + text_of(which);
}

std::string newest_text(const Table& table) {
  const std::string key = text_of(table.columns[0]);
  return "SELECT count(*), max(" + key + ") FROM " + text_of(table.name) + " WHERE " + key + " > ?";
}

}  // namespace ox::manager
