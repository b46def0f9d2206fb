// A connection to a database file, and its statements.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "manager/base/durability.h"

struct sqlite3;
struct sqlite3_stmt;

namespace ox::manager {

enum class Outcome {
  done,
  damaged,  // a row or a page does not read
  refused,  // the system does not let it be read or written
};

// No thread but one at a time uses a connection. Running out of memory throws std::bad_alloc.
class Connection {
 public:
  Connection() = default;
  ~Connection() { close(); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  // Opens the file, which must exist. Nothing waits for another connection.
  [[nodiscard]] Outcome open(const std::string& file, Durability durability);
  // Its statements are made anew when it is opened again.
  void close();
  [[nodiscard]] bool is_open() const { return database_ != nullptr; }
  [[nodiscard]] sqlite3* get() const { return database_; }

  [[nodiscard]] Outcome run(const char* statements);
  // The number that the statement gives; 0 when it gives none.
  [[nodiscard]] std::uint64_t ask(const char* statement);
  [[nodiscard]] std::string fault() const;  // of the last call
  [[nodiscard]] bool is_locked() const;     // another process uses the file
  // What a result code of the database means.
  [[nodiscard]] static Outcome outcome_of(int state);

 private:
  friend class Statement;
  sqlite3* database_ = nullptr;
  std::uint32_t opened_ = 0;  // and closed, times
};

// The row that a statement has come to. Texts and bytes are valid until the next one.
class Row {
 public:
  explicit Row(sqlite3_stmt* statement) : statement_(statement) {}
  [[nodiscard]] std::uint64_t number(int column) const;
  [[nodiscard]] std::uint32_t word(int column) const { return static_cast<std::uint32_t>(number(column)); }
  [[nodiscard]] std::span<const std::byte> bytes(int column) const;
  [[nodiscard]] std::string text(int column) const;

 private:
  friend class Statement;
  sqlite3_stmt* statement_;
};

// One statement, prepared at its first use. Values are bound in order; running it makes it ready again.
class Statement {
 public:
  Statement(Connection& connection, std::string text) : connection_(connection), text_(std::move(text)) {}
  ~Statement();
  Statement(Statement&& other) noexcept
      : connection_(other.connection_),
        text_(std::move(other.text_)),
        made_in_(other.made_in_),
        statement_(std::exchange(other.statement_, nullptr)) {}
  Statement& operator=(Statement&&) = delete;

  Statement& begin();
  Statement& with(std::uint64_t number);
  // What is bound must live until the statement has run.
  Statement& with(std::string_view text);
  Statement& with(std::span<const std::byte> bytes);
  Statement& with(const Row& row, int column);
  // Calls `row` for each row until it answers false.
  template <class Take>
  [[nodiscard]] Outcome rows(Take&& row) {
    const Ready ready{*this};  // also when a row throws
    while (step()) {
      if (!row(Row(statement_))) break;
    }
    return Connection::outcome_of(state_);
  }
  [[nodiscard]] Outcome run() {
    return rows([](const Row&) { return true; });
  }

 private:
  struct Ready {
    ~Ready() { statement.reset(); }
    Statement& statement;
  };
  [[nodiscard]] bool step();
  void reset() noexcept;

  Connection& connection_;
  std::string text_;
  int bound_ = 0;
  int state_ = 0;
  std::uint32_t made_in_ = 0;  // the opening of the connection
  sqlite3_stmt* statement_ = nullptr;
};

}  // namespace ox::manager
