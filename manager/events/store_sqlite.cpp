// The event log in a database, "events.db" of the directory.
//
// A commit has written its changes to the database's log file, which the death of this process cannot undo; the disk is
// made to hold them at checkpoints. Losing power may cost the last moments, never the file.
//
// The numbers are written when an erasure may have taken the last event, or moved the beginning: else the events tell
// the last one themselves, and a commit of one event has one page to write.
#include <sqlite3.h>

#include <algorithm>
#include <limits>
#include <new>

#include "manager/base/log.h"
#include "manager/base/paths.h"
#include "manager/events/store.h"

namespace ox::manager {
namespace {

constexpr char schema[] = R"(
  PRAGMA locking_mode = EXCLUSIVE;
  PRAGMA journal_mode = WAL;
  PRAGMA synchronous = NORMAL;
  PRAGMA wal_autocheckpoint = 4000;  -- pages: the loop stands still while the disk takes them
  CREATE TABLE IF NOT EXISTS events (
    sequence INTEGER PRIMARY KEY, arrived INTEGER NOT NULL, listed INTEGER NOT NULL, body BLOB NOT NULL);
  CREATE INDEX IF NOT EXISTS unlisted ON events (sequence) WHERE listed = 0;
  CREATE TABLE IF NOT EXISTS waits (
    name TEXT PRIMARY KEY, taken INTEGER NOT NULL, seen INTEGER NOT NULL) WITHOUT ROWID;
  CREATE TABLE IF NOT EXISTS numbers (
    one INTEGER PRIMARY KEY CHECK (one = 1), last INTEGER NOT NULL, erased INTEGER NOT NULL);
  INSERT OR IGNORE INTO numbers VALUES (1, 0, 0);
)";

struct CloseDatabase {
  void operator()(sqlite3* database) const noexcept { sqlite3_close(database); }
};
struct ResetStatement {
  void operator()(sqlite3_stmt* statement) const noexcept { (void)sqlite3_reset(statement); }
};
struct FinishStatement {
  void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
};

// One statement, prepared at its first use. Values are bound in order; running it to its end makes it ready again.
class Statement {
 public:
  explicit Statement(const char* text) : text_(text) {}

  Statement& in(sqlite3* database) {
    if (!statement_) {
      sqlite3_stmt* made = nullptr;
      if (sqlite3_prepare_v3(database, text_, -1, SQLITE_PREPARE_PERSISTENT, &made, nullptr) == SQLITE_NOMEM) {
        throw std::bad_alloc();
      }
      statement_.reset(made);
    }
    bound_ = 0;
    return *this;
  }
  Statement& with(std::uint64_t number) {
    (void)sqlite3_bind_int64(statement_.get(), ++bound_, static_cast<sqlite3_int64>(number));
    return *this;
  }
  // What is bound must live until the statement has run.
  Statement& with(const std::string& text) {
    (void)sqlite3_bind_text(statement_.get(), ++bound_, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
    return *this;
  }
  Statement& with(const Bytes& bytes) {
    (void)sqlite3_bind_blob64(statement_.get(), ++bound_, bytes.data(), bytes.size(), SQLITE_STATIC);
    return *this;
  }
  // Calls `row` for each row until it answers false. False when the statement fails.
  template <class Row>
  bool rows(Row&& row) {
    if (!statement_) return false;
    const std::unique_ptr<sqlite3_stmt, ResetStatement> reset(statement_.get());  // also when a row throws
    int state = SQLITE_ERROR;
    while ((state = sqlite3_step(statement_.get())) == SQLITE_ROW && row(*this)) {
    }
    return state == SQLITE_DONE || state == SQLITE_ROW;
  }
  bool run() {
    return rows([](const Statement&) { return true; });
  }
  [[nodiscard]] std::uint64_t number(int column) const {
    return static_cast<std::uint64_t>(sqlite3_column_int64(statement_.get(), column));
  }
  [[nodiscard]] std::size_t size(int column) const {
    return static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column));
  }
  [[nodiscard]] Bytes bytes(int column) const {
    const auto* const first = static_cast<const std::byte*>(sqlite3_column_blob(statement_.get(), column));
    return first == nullptr ? Bytes() : Bytes(first, first + size(column));
  }

 private:
  const char* text_;
  int bound_ = 0;
  std::unique_ptr<sqlite3_stmt, FinishStatement> statement_;
};

constexpr std::uint64_t everything = std::numeric_limits<std::int64_t>::max();

StoredEvent event_of(const Statement& row) {
  return {row.number(0), static_cast<std::uint32_t>(row.number(1)), row.number(2) != 0, row.bytes(3)};
}

class SqliteEventStore final : public EventStore {
 public:
  explicit SqliteEventStore(const std::string& directory) : file_(join(directory, "events.db")) {}
  bool open(const FaultSink& faults) override {
    sqlite3* opened = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    int state = sqlite3_open_v2(file_.c_str(), &opened, flags, nullptr);
    database_.reset(opened);
    if (state == SQLITE_OK) state = sqlite3_exec(opened, schema, nullptr, nullptr, nullptr);
    if (state != SQLITE_OK || !load()) {
      faults(file_, 0, opened != nullptr ? sqlite3_errmsg(opened) : "cannot be opened");
      database_.reset();
      return false;
    }
    return true;
  }

  void put(const StoredEvent& event) override {
    begin();
    if (event.sequence <= last_) bytes_ -= size_of(length_.in(db()).with(event.sequence));
    note(put_.in(db()).with(event.sequence).with(event.arrived).with(event.listed ? 1 : 0).with(event.body).run());
    bytes_ += event.body.size();
    last_ = std::max(last_, event.sequence);
  }
  void erase(Sequence sequence) override {
    begin();
    bytes_ -= size_of(length_.in(db()).with(sequence));
    note(erase_.in(db()).with(sequence).run());
    erased_from_end(sequence);
  }
  void erase_up_to(Sequence sequence) override {
    begin();
    bytes_ -= size_of(size_up_to_.in(db()).with(sequence));
    note(erase_up_to_.in(db()).with(sequence).run());
    erased_ = std::max(erased_, sequence);
    numbers_changed_ = true;
  }
  void erase_unlisted_up_to(Sequence sequence) override {
    begin();
    bytes_ -= size_of(unlisted_size_.in(db()).with(sequence));
    note(erase_unlisted_.in(db()).with(sequence).run());
    erased_from_end(sequence);
  }
  void put_wait(const std::string& name, const WaitMark& mark) override {
    begin();
    note(put_wait_.in(db()).with(name).with(mark.taken).with(mark.seen).run());
  }
  void erase_wait(const std::string& name) override {
    begin();
    note(erase_wait_.in(db()).with(name).run());
  }

  bool commit() override {
    if (!begun_) return true;
    if (numbers_changed_) note(put_numbers_.in(db()).with(last_).with(erased_).run());
    begun_ = numbers_changed_ = false;
    if (sound_ && end_.in(db()).run()) return true;
    log(Severity::error, file_ + ": " + sqlite3_errmsg(db()));
    (void)undo_.in(db()).run();
    (void)load();
    return false;
  }

  std::vector<StoredEvent> after(Sequence sequence, std::size_t count, std::size_t bytes) override {
    return page(after_.in(db()).with(sequence), count, bytes);
  }
  std::vector<StoredEvent> before(Sequence sequence, std::size_t count, std::size_t bytes) override {
    return page(before_.in(db()).with(std::min(sequence, everything)), count, bytes);
  }
  std::optional<StoredEvent> get(Sequence sequence) override {
    std::optional<StoredEvent> found;
    (void)get_.in(db()).with(sequence).rows([&](const Statement& row) {
      found = event_of(row);
      return false;
    });
    return found;
  }
  std::map<std::string, WaitMark> waits() override {
    std::map<std::string, WaitMark> found;
    (void)waits_.in(db()).rows([&](const Statement& row) {
      const Bytes name = row.bytes(0);
      found[{reinterpret_cast<const char*>(name.data()), name.size()}] = {row.number(1),
                                                                          static_cast<std::uint32_t>(row.number(2))};
      return true;
    });
    return found;
  }
  Sequence excess(std::uint64_t bytes, std::uint32_t arrived_before) override {
    Sequence end = 0;
    std::uint64_t left = bytes_;
    (void)oldest_.in(db()).rows([&](const Statement& row) {
      if (left <= bytes && row.number(1) >= arrived_before) return false;
      end = row.number(0);
      left -= row.number(2);
      return true;
    });
    return end;
  }

 private:
  [[nodiscard]] sqlite3* db() const { return database_.get(); }
  void note(bool good) { sound_ = sound_ && good; }
  void erased_from_end(Sequence sequence) { numbers_changed_ = numbers_changed_ || sequence >= last_; }
  void begin() {
    if (begun_) return;
    begun_ = true;
    sound_ = begin_.in(db()).run();
  }
  bool load() {
    const bool read = get_numbers_.in(db()).rows([&](const Statement& row) {
      last_ = row.number(0);
      erased_ = row.number(1);
      return true;
    });
    bytes_ = size_of(size_up_to_.in(db()).with(everything));
    return read;
  }
  static std::uint64_t size_of(Statement& statement) {
    std::uint64_t size = 0;
    (void)statement.rows([&](const Statement& row) {
      size = row.number(0);
      return true;
    });
    return size;
  }
  static std::vector<StoredEvent> page(Statement& statement, std::size_t count, std::size_t bytes) {
    std::vector<StoredEvent> found;
    std::size_t size = 0;
    (void)statement.rows([&](const Statement& row) {
      found.push_back(event_of(row));
      size += found.back().body.size();
      return found.size() < count && size <= bytes;
    });
    return found;
  }

  std::string file_;
  std::unique_ptr<sqlite3, CloseDatabase> database_;
  bool begun_ = false;
  bool sound_ = true;
  bool numbers_changed_ = false;
  Statement begin_{"BEGIN"};
  Statement end_{"COMMIT"};
  Statement undo_{"ROLLBACK"};
  Statement put_{"INSERT OR REPLACE INTO events VALUES (?, ?, ?, ?)"};
  Statement length_{"SELECT length(body) FROM events WHERE sequence = ?"};
  Statement erase_{"DELETE FROM events WHERE sequence = ?"};
  Statement erase_up_to_{"DELETE FROM events WHERE sequence <= ?"};
  Statement erase_unlisted_{"DELETE FROM events WHERE listed = 0 AND sequence <= ?"};
  Statement size_up_to_{"SELECT total(length(body)) FROM events WHERE sequence <= ?"};
  Statement unlisted_size_{"SELECT total(length(body)) FROM events WHERE listed = 0 AND sequence <= ?"};
  Statement put_wait_{"INSERT OR REPLACE INTO waits VALUES (?, ?, ?)"};
  Statement erase_wait_{"DELETE FROM waits WHERE name = ?"};
  Statement put_numbers_{"UPDATE numbers SET last = ?, erased = ?"};
  Statement get_numbers_{"SELECT max(last, (SELECT ifnull(max(sequence), 0) FROM events)), erased FROM numbers"};
  Statement after_{"SELECT * FROM events WHERE sequence > ? ORDER BY sequence"};
  Statement before_{"SELECT * FROM events WHERE sequence < ? ORDER BY sequence DESC"};
  Statement get_{"SELECT * FROM events WHERE sequence = ?"};
  Statement waits_{"SELECT name, taken, seen FROM waits"};
  Statement oldest_{"SELECT sequence, arrived, length(body) FROM events ORDER BY sequence"};
};

}  // namespace

std::unique_ptr<EventStore> make_event_store(const std::string& directory) {
  return std::make_unique<SqliteEventStore>(directory);
}

}  // namespace ox::manager
