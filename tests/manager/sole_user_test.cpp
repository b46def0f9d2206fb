#include "manager/storage/sole_user.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <filesystem>
#include <string>

#include "manager/storage/connection.h"
#include "manager/storage/copy.h"
#include "tests/support/other_process.h"
#include "tests/support/system_root.h"

namespace ox::manager {
namespace {

// Does not rest between its attempts.
sqlite3* open_plainly(const std::string& file) {
  static sqlite3_vfs impatient = *sqlite3_vfs_find(nullptr);
  impatient.zName = "impatient";
  impatient.xSleep = [](sqlite3_vfs*, int) { return 0; };
  EXPECT_EQ(SQLITE_OK, sqlite3_vfs_register(&impatient, 0));
  sqlite3* opened = nullptr;
  EXPECT_EQ(SQLITE_OK, sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READWRITE, impatient.zName));
  return opened;
}

// Another process that reads the file. Its status is what the database library says.
int read(test::OtherProcess& process) {
  sqlite3* const opened = open_plainly(process.text());
  const int result = sqlite3_exec(opened, "SELECT * FROM t", nullptr, nullptr, nullptr);
  EXPECT_EQ(SQLITE_OK, sqlite3_close(opened));
  return result;
}
[[maybe_unused]] const bool declared = test::OtherProcess::declare("read", read);

class SoleUser : public ::testing::Test {
 protected:
  SoleUser() {
    std::filesystem::create_directories(test::work_dir());
    test::write_file(file_, "");
    EXPECT_EQ(Outcome::done, writer_.open(file_, Durability::process));
    EXPECT_EQ(Outcome::done, writer_.run("CREATE TABLE t (n INTEGER PRIMARY KEY); INSERT INTO t VALUES (1)"));
  }
  [[nodiscard]] int read_outside() const {
    return test::OtherProcess::start("read", file_).wait(std::chrono::minutes(1));
  }

  const std::string file_ = test::work_dir() + "/sole.db";
  Connection writer_;
};

TEST_F(SoleUser, KeepsOthersOutUntilItsLastConnectionCloses) {
  {
    Connection second;
    ASSERT_EQ(Outcome::done, second.open(file_, Durability::process));
    EXPECT_EQ(1u, second.ask("SELECT count(*) FROM t"));
    EXPECT_EQ(SQLITE_PROTOCOL, read_outside());
    writer_.close();
    EXPECT_EQ(SQLITE_PROTOCOL, read_outside());
    EXPECT_EQ(1u, second.ask("SELECT count(*) FROM t"));
  }
  EXPECT_EQ(SQLITE_OK, read_outside());

  sqlite3* const other = open_plainly(file_);
  ASSERT_EQ(SQLITE_OK, sqlite3_exec(other, "BEGIN; SELECT * FROM t", nullptr, nullptr, nullptr));
  EXPECT_EQ(Outcome::refused, writer_.open(file_, Durability::process));
  EXPECT_TRUE(writer_.is_locked()) << writer_.fault();
  writer_.close();
  ASSERT_EQ(SQLITE_OK, sqlite3_close(other));
  ASSERT_EQ(Outcome::done, writer_.open(file_, Durability::process));
  EXPECT_EQ(1u, writer_.ask("SELECT count(*) FROM t"));
}

// One writes at a time, a reader keeps its moment, and the log begins anew when nobody reads of it.
TEST_F(SoleUser, SharesTheFileAmongItsConnections) {
  Connection second;
  Snapshot before;
  ASSERT_EQ(Outcome::done, second.open(file_, Durability::process));
  ASSERT_EQ(Outcome::done, before.take(file_));
  ASSERT_EQ(Outcome::done, writer_.run("BEGIN IMMEDIATE; INSERT INTO t VALUES (2)"));
  EXPECT_EQ(Outcome::refused, second.run("BEGIN IMMEDIATE"));
  EXPECT_EQ(1u, second.ask("SELECT count(*) FROM t"));
  ASSERT_EQ(Outcome::done, writer_.run("COMMIT"));
  ASSERT_EQ(Outcome::done, second.run("INSERT INTO t VALUES (3)"));

  EXPECT_EQ(3u, writer_.ask("SELECT count(*) FROM t"));
  EXPECT_EQ(1u, before.connection().ask("SELECT count(*) FROM t"));
  EXPECT_EQ(1u, second.ask("PRAGMA wal_checkpoint(RESTART)")) << "a reader needs the log";
  ASSERT_EQ(Outcome::done, before.connection().run("COMMIT"));
  EXPECT_EQ(0u, second.ask("PRAGMA wal_checkpoint(RESTART)"));
  EXPECT_EQ(3u, before.connection().ask("SELECT count(*) FROM t"));
}

// Where an open file can be renamed, whoever has it keeps its locks, and the new one has its own; else it stays.
TEST_F(SoleUser, ANewFileOfTheSameNameIsAnotherOne) {
  Snapshot before;
  ASSERT_EQ(Outcome::done, before.take(file_));
  writer_.close();
  std::string set_aside;
  test::write_file(file_ + ".new", "");
  const bool replaced = replace_database(file_, file_ + ".new", set_aside);
  ASSERT_EQ(Outcome::done, writer_.open(file_, Durability::process));
  if (replaced) {
    ASSERT_EQ(Outcome::done, writer_.run("CREATE TABLE t (n INTEGER PRIMARY KEY)"));
    EXPECT_EQ(0u, writer_.ask("PRAGMA wal_checkpoint(RESTART)")) << "its log has no other reader";
  }
  EXPECT_EQ(replaced ? 0u : 1u, writer_.ask("SELECT count(*) FROM t"));
  EXPECT_EQ(SQLITE_PROTOCOL, read_outside());
  EXPECT_EQ(1u, before.connection().ask("SELECT count(*) FROM t"));
}

}  // namespace
}  // namespace ox::manager
