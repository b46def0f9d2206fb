// Databases changed beside their manager, and files of pages, damaged in every way.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "manager/storage/check.h"
#include "tests/support/system_root.h"

namespace ox::test {

// Through a connection that is closed again: an open file cannot be set aside everywhere.
inline void change_database(const std::string& file, const char* statement) {
  manager::Connection connection;
  ASSERT_EQ(manager::Outcome::done, connection.open(file, manager::Durability::process));
  ASSERT_EQ(manager::Outcome::done, connection.run(statement));
}
[[nodiscard]] inline bool tables_check(const std::string& file) {
  manager::Connection connection;
  return connection.open(file, manager::Durability::process) == manager::Outcome::done &&
         manager::check_tables(connection, {}).empty();
}
// The database's one file, with all that stood in its log.
[[nodiscard]] inline std::string whole_database(const std::string& file) {
  change_database(file, "PRAGMA wal_checkpoint(TRUNCATE)");
  return read_file(file);
}
// The log of changes has so many pages that the next commits let it begin anew.
inline void fill_log(const std::string& file) {
  change_database(file, "CREATE TABLE t (b); INSERT INTO t VALUES (zeroblob(33000000)); DROP TABLE t");
}

// Calls `look_at(damaged, certain)` with each page zeroed, flipped in the places that matter most, and cut off with all
// behind it; `certain` tells that something is missing then. Between the first and the last OX_END_PAGES one in
// OX_PAGES, all of them when OX_ALL_PAGES is set.
template <class Look>
void for_every_damage(const std::string& sound, const Look& look_at) {
  constexpr std::size_t page_size = 4096;
  const std::size_t step = std::getenv("OX_ALL_PAGES") != nullptr ? 1 : OX_PAGES;
  const std::size_t pages = sound.size() / page_size;
  for (std::size_t page = 0; page < pages; page += page < OX_END_PAGES || page + OX_END_PAGES > pages ? 1 : step) {
    SCOPED_TRACE(page + 1);
    const std::size_t at = page * page_size;
    std::string damaged = sound;
    std::fill_n(damaged.begin() + static_cast<std::ptrdiff_t>(at), page_size, '\0');
    look_at(damaged, false);
    for (const std::size_t place : {1u, 4u, 12u, 2047u, 4085u}) {
      damaged = sound;
      damaged[at + place] = static_cast<char>(damaged[at + place] ^ 0x10);
      look_at(damaged, false);
    }
    look_at(sound.substr(0, at), true);
  }
}

}  // namespace ox::test
