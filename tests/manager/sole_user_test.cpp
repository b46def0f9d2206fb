#include "manager/storage/sole_user.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <string>

#include "manager/storage/connection.h"
#include "manager/storage/copy.h"
#include "tests/support/system_root.h"

namespace ox::manager {
namespace {

class SoleUser : public ::testing::Test {
 protected:
  SoleUser() {
    std::filesystem::create_directories(test::work_dir());
    test::write_file(file_, "");
    EXPECT_EQ(Outcome::done, writer_.open(file_, Durability::process));
    EXPECT_EQ(Outcome::done, writer_.run("CREATE TABLE t (n INTEGER PRIMARY KEY); INSERT INTO t VALUES (1)"));
  }
  // The file as another process has it, that does not rest between its attempts.
  sqlite3* open_outside() {
    static sqlite3_vfs impatient = *sqlite3_vfs_find(nullptr);
    impatient.zName = "impatient";
    impatient.xSleep = [](sqlite3_vfs*, int) { return 0; };
    EXPECT_EQ(SQLITE_OK, sqlite3_vfs_register(&impatient, 0));
    sqlite3* other = nullptr;
    EXPECT_EQ(SQLITE_OK, sqlite3_open_v2(file_.c_str(), &other, SQLITE_OPEN_READWRITE, impatient.zName));
    return other;
  }
  int outside(const char* statements) {
    sqlite3* const other = open_outside();
    const int state = sqlite3_exec(other, statements, nullptr, nullptr, nullptr);
    EXPECT_EQ(SQLITE_OK, sqlite3_close(other));
    return state;
  }

  const std::string file_ = test::work_dir() + "/sole.db";
  Connection writer_;
};

TEST_F(SoleUser, KeepsOthersOutUntilItsLastConnectionCloses) {
  {
    Connection second;
    ASSERT_EQ(Outcome::done, second.open(file_, Durability::process));
    EXPECT_EQ(1u, second.ask("SELECT count(*) FROM t"));
    EXPECT_EQ(SQLITE_PROTOCOL, outside("SELECT * FROM t"));
    writer_.close();
    EXPECT_EQ(SQLITE_PROTOCOL, outside("SELECT * FROM t"));
    EXPECT_EQ(1u, second.ask("SELECT count(*) FROM t"));
  }
  EXPECT_EQ(SQLITE_OK, outside("INSERT INTO t VALUES (2)"));

  sqlite3* const other = open_outside();
  ASSERT_EQ(SQLITE_OK, sqlite3_exec(other, "BEGIN; SELECT * FROM t", nullptr, nullptr, nullptr));
  EXPECT_EQ(Outcome::refused, writer_.open(file_, Durability::process));
  EXPECT_TRUE(writer_.is_locked()) << writer_.fault();
  writer_.close();
  ASSERT_EQ(SQLITE_OK, sqlite3_close(other));
  ASSERT_EQ(Outcome::done, writer_.open(file_, Durability::process));
  EXPECT_EQ(2u, writer_.ask("SELECT count(*) FROM t"));
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

}  // namespace
}  // namespace ox::manager
