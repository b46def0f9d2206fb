// Databases changed beside their manager, and files of pages, damaged in every way.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include "manager/base/faults.h"
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
// The log of changes has so many pages that the next commits let it begin anew.
inline void fill_log(const std::string& file) {
  change_database(file, "CREATE TABLE t (b); INSERT INTO t VALUES (zeroblob(33000000)); DROP TABLE t");
}

// A folder with a database, and what is told of it.
class DatabaseTest : public testing::Test {
 protected:
  DatabaseTest() { std::filesystem::create_directories(directory_); }
  virtual void close() = 0;  // whoever has it open
  manager::FaultSink noting() {
    return [this](const std::string&, std::uint32_t, const std::string& text) { faults_ += text + '\n'; };
  }

  // Lays the folder as it was, but for the file, which has these bytes.
  void lay(const std::string& as_it_was, const std::string& file, const std::string& bytes) {
    close();
    std::filesystem::remove_all(directory_);
    std::filesystem::copy(as_it_was, directory_);
    write_file(file, bytes);
    faults_.clear();
  }
  // Calls `look_at(certain)` on the folder as it is, but for the file: each page zeroed, flipped in the places that
  // matter most, and cut off with all behind it; `certain` tells that something is missing then. Between the first and
  // the last OX_END_PAGES one in OX_PAGES, all of them when OX_ALL_PAGES is set.
  void for_every_damage(const std::string& file, const std::function<void(bool certain)>& look_at) {
    constexpr std::size_t page_size = 4096;
    close();
    if (file.ends_with(".db")) change_database(file, "PRAGMA wal_checkpoint(TRUNCATE)");
    const std::string as_it_was = directory_ + "-as-it-was", sound = read_file(file);
    std::filesystem::copy(directory_, as_it_was);
    const auto look = [&](const std::string& damaged, bool certain) {
      lay(as_it_was, file, damaged);
      look_at(certain);
    };
    const std::size_t step = std::getenv("OX_ALL_PAGES") != nullptr ? 1 : OX_PAGES;
    const std::size_t pages = sound.size() / page_size;
    for (std::size_t page = 0; page < pages; page += page < OX_END_PAGES || page + OX_END_PAGES > pages ? 1 : step) {
      SCOPED_TRACE(page + 1);
      const std::size_t at = page * page_size;
      std::string damaged = sound;
      std::fill_n(damaged.begin() + static_cast<std::ptrdiff_t>(at), page_size, '\0');
      look(damaged, false);
      for (const std::size_t place : {1u, 4u, 12u, 2047u, 4085u}) {
        damaged = sound;
        damaged[at + place] = static_cast<char>(damaged[at + place] ^ 0x10);
        look(damaged, false);
      }
      look(sound.substr(0, at), true);
    }
  }

  std::string directory_ = work_dir() + "/data";
  std::string faults_;
};

}  // namespace ox::test
