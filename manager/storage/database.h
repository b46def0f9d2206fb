// A database file of the manager, its tables and the transaction in which they change.
//
// Changes are gathered and take effect together, at commit: what a commit has taken survives the death of the manager
// at any moment, and nothing of an uncommitted change does. Every row carries a checksum, and the number of each
// table's rows is kept with them, so that what is lost is known to be lost. Of the newest rows, those with the highest
// keys, the number is kept now and then and at the end: a commit of one new row writes one page. After an end that was
// none the pages tell whether they are whole.
#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "manager/base/faults.h"
#include "manager/storage/beside.h"
#include "manager/storage/check.h"
#include "manager/storage/checkpointer.h"
#include "manager/storage/connection.h"
#include "manager/storage/salvage.h"
#include "manager/storage/table.h"

namespace ox::manager {

class Database {
 public:
  // The tables are known by their places in the list.
  Database(std::string file, std::span<const Table> tables, Durability durability);
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  // Opens the file, or makes it; takes faults from then on. Why it was refused is told; a damaged one is to be renewed.
  [[nodiscard]] Outcome open(FaultSink faults);
  // Sets the file aside under a dated name, and goes on with a new one that holds every row that reads, and what mends
  // it; tells how many there are. `done` gets false, and it is told, when the system does not let it: then it rests for
  // a while, longer each time, in which this does nothing. Beside the loop when that is known: until then nothing
  // reads, and no change is taken.
  using Renewed = std::function<void(bool)>;
  void renew(const Renewed& done, const Mend& mend = {});
  [[nodiscard]] bool is_renewing() const { return renewing_; }
  // The same, or the log of changes begins anew beside the loop, which takes as long as the disk does: whoever reads or
  // changes something all the same waits for it.
  [[nodiscard]] bool is_away() const { return renewing_ || turning_; }
  [[nodiscard]] bool rests() const { return std::chrono::steady_clock::now() < rests_until_; }
  // From now on others are served meanwhile. `waiting` is called with true when it goes away, when it is back with
  // false; not before whoever holds it longer lets go. `renewing` is called when a renewal begins.
  void work_beside(
      asio::io_context& loop, std::function<void(bool)> waiting, std::function<void()> renewing = [] {}) {
    loop_ = &loop;
    waiting_ = std::move(waiting);
    on_renewing_ = std::move(renewing);
  }
  void hold(bool on);
  // `back` is called when the log has begun anew.
  void on_back(std::function<void()> back) { back_ = std::move(back); }
  // Checks all of it beside the work, once; calls back from the loop when something is wrong: renew() is due.
  void check(asio::io_context& loop, const std::function<void()>& damaged);

  // A row, new or in place of that with its key.
  template <class... Values>
  void put(std::size_t table, std::uint64_t key, const Values&... values) {
    change([&] {
      Statement& statement = tables_[table].put.begin().with(key);
      (statement.with(values), ...);
      return statement.run();
    });
  }
  void erase(std::size_t table, std::uint64_t key) {
    change([&] { return tables_[table].erase.begin().with(key).run(); });
  }
  // False when the disk does not take the changes since the last one, or what else they need is not `ready`: they are
  // undone.
  [[nodiscard]] bool commit(bool ready = true);
  // Tries it with next to nothing, where nothing has been changed.
  [[nodiscard]] bool takes_changes();

  [[nodiscard]] std::uint64_t rows(std::size_t table) const { return tables_[table].rows; }  // as committed
  // A change has come upon a page that does not read: renew() is due.
  [[nodiscard]] bool is_damaged() const { return damaged_ && !rests(); }
  [[nodiscard]] const std::string& file() const { return file_; }
  // For statements of other kinds.
  [[nodiscard]] Connection& connection() {
    wait_for_log();
    return connection_;
  }
  // Tells of a fault of the file.
  void tell(const std::string& what) { faults_(file_, 0, what); }
  // Tells of damage, once for each row, or of the file as a whole.
  void tell_damaged(std::size_t table, std::uint64_t key);
  void tell_damaged(const std::string& what);

 private:
  friend class Query;
  struct OpenTable {
    const Table& shape;
    Statement put;
    Statement erase;
    std::uint64_t rows = 0;       // as committed
    RowCount kept{};              // as committed
    std::int64_t change = 0;      // of the number of rows, in this transaction
    std::int64_t old_change = 0;  // of that of the rows that the kept number counts
    std::uint64_t last_key = 0;   // no row has a higher one

    [[nodiscard]] RowCount now() const { return {last_key, rows + static_cast<std::uint64_t>(change)}; }
    [[nodiscard]] bool is_due() const;
  };

  template <class Change>
  void change(const Change& made) {
    begin();
    const bool before = std::exchange(sound_, false);  // also when memory runs out
    const Outcome outcome = made();
    sound_ = outcome == Outcome::done && before;
    damaged_ = damaged_ || outcome == Outcome::damaged;
  }
  void begin();
  [[nodiscard]] bool end();
  void turn_log() noexcept;
  void wait_for_log() {
    if (turning_) beside_.wait();
  }
  void take_back();
  void ask_for_renewal(const std::function<void()>& damaged, std::uint32_t renewed);  // behind its check
  void put_counts();
  void take_counts();
  void forget_counts();
  void count_everything() noexcept;
  void tell_refused(const std::string& why);
  void close();
  [[nodiscard]] Outcome open_file();
  [[nodiscard]] Outcome open_when_free();
  [[nodiscard]] std::vector<Table> shapes() const;
  [[nodiscard]] bool put_in_place(const std::string& made);
  using Salvaged = std::optional<std::vector<Saved>>;
  void take_renewed(const Salvaged& saved, const Renewed& done);
  void replace(const std::string& told, const Renewed& done, int tries);
  void end_renewal(bool renewed, const Renewed& done);
  void rest();
  [[nodiscard]] std::string told_of(const std::vector<Saved>& saved) const;
  [[nodiscard]] Outcome check_tables();
  [[nodiscard]] Outcome count_newest();
  [[nodiscard]] bool refused(const std::string& what);
  static void count_change(void* self, int kind, const char* database, const char* table, long long key);
  static int grown(void* self, sqlite3* connection, const char* database, int pages);

  std::string file_;
  std::span<const Table> given_;
  Durability durability_;
  FaultSink faults_;
  Connection connection_;
  std::vector<OpenTable> tables_;  // the counts come last
  Statement begin_{connection_, "BEGIN IMMEDIATE"};
  Statement end_{connection_, "COMMIT"};
  Checkpointer checkpointer_;
  bool begun_ = false;
  bool sound_ = true;
  bool damaged_ = false;
  bool refusing_ = false;  // the last commit was refused
  std::set<std::pair<std::size_t, std::uint64_t>> told_;
  bool renewing_ = false;
  bool turning_ = false;      // the log; the connection is another thread's
  bool turn_is_due_ = false;  // behind the commit
  int holds_ = 0;
  std::uint32_t renewed_ = 0;  // times
  std::uint32_t failed_ = 0;   // renewals, one behind the other
  std::chrono::steady_clock::time_point rests_until_{};
  asio::io_context* loop_ = nullptr;  // null: there is nobody else to be served
  std::function<void(bool)> waiting_;
  std::function<void()> on_renewing_;
  std::function<void()> back_;
  std::unique_ptr<asio::steady_timer> again_;
  std::unique_ptr<asio::steady_timer> asking_;
  Beside beside_;
  BackgroundCheck check_;
};

// Reads rows of one table. A row whose checksum does not hold ends it, and is told.
class Query {
 public:
  // `which` chooses and orders the rows: "WHERE sequence > ? ORDER BY sequence".
  Query(Database& database, std::size_t table, std::string_view which)
      : Query(database, database.connection_, table, which) {}
  // The same through another connection to the database.
  Query(Database& database, Connection& connection, std::size_t table, std::string_view which);
  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  template <class... Values, class Take>
  [[nodiscard]] Outcome rows(const Take& take, const Values&... values) {
    bool sound = true;
    if (&connection_ == &database_.connection_) database_.wait_for_log();
    Statement& statement = statement_.begin();
    (statement.with(values), ...);
    const Outcome outcome = statement.rows([&](const Row& row) {
      sound = row.number(columns_) != 0;
      if (!sound) database_.tell_damaged(table_, row.number(0));
      return sound && take(row);
    });
    if (outcome == Outcome::damaged) database_.tell_damaged(connection_.fault());
    return sound ? outcome : Outcome::damaged;
  }

 private:
  friend class Database;
  Database& database_;
  Connection& connection_;
  std::size_t table_;
  int columns_;
  Statement statement_;
};

}  // namespace ox::manager
