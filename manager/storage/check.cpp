#include "manager/storage/check.h"

#include <sqlite3.h>

#include <new>
#include <system_error>

#include "manager/storage/write_ahead.h"
#include "platform/file.h"

namespace ox::manager {

namespace {

std::string damaged_page(Connection& connection) {
  std::string text;
  Statement pages(connection, "PRAGMA quick_check(1)");
  const Outcome outcome = pages.begin().rows([&](const Row& row) {
    if (row.text(0) != "ok") text = row.text(0);
    return text.empty();
  });
  return outcome == Outcome::done ? text : connection.fault();
}

std::string damaged_row(Connection& connection, const Table& table) {
  std::string text;
  const auto sound = static_cast<int>(table.columns.size());
  Statement rows(connection, select_text(table, ""));
  const Outcome outcome = rows.begin().rows([&](const Row& row) {
    if (row.number(sound) == 0) text = "row " + std::to_string(row.number(0)) + " of " + std::string(table.name);
    return text.empty();
  });
  return outcome == Outcome::done ? text : connection.fault();
}

std::string missing_rows(Connection& connection, const Table& table) {
  const std::string name(table.name);
  std::string text = "row_counts has no row for " + name;
  Statement counts(connection, "SELECT rows, (SELECT count(*) FROM " + name + " WHERE " +
                                   std::string(table.columns[0]) + " <= up_to) FROM row_counts WHERE name = ?");
  const Outcome outcome = counts.begin().with(table.name).rows([&](const Row& row) {
    text.clear();
    if (row.number(0) == row.number(1)) return false;
    text = std::to_string(row.number(1)) + " of " + std::to_string(row.number(0)) + " rows of " + name;
    return false;
  });
  return outcome == Outcome::done ? text : connection.fault();
}

std::string row_numbers(Connection& connection, std::span<const Table> tables) {
  std::string text;
  for (const Table& table : tables) {
    const std::string name(table.name);
    text += (text.empty() ? "" : ", ") + std::to_string(connection.ask(("SELECT count(*) FROM " + name).c_str())) +
            ' ' + name;
  }
  return text;
}

}  // namespace

std::string check_tables(Connection& connection, std::span<const Table> tables) {
  std::string text = damaged_page(connection);
  if (text.empty()) text = damaged_row(connection, count_table);
  for (const Table& table : tables) {
    if (text.empty()) text = damaged_row(connection, table);
    if (text.empty()) text = missing_rows(connection, table);
  }
  return text;
}

bool tell_check(const std::string& file, Connection& connection, std::span<const Table> tables, const FaultSink& faults,
                const Tell& tell, OwnCheck own) {
  std::string told;
  std::string fault = check_tables(connection, tables);
  if (fault.empty() && own != nullptr) fault = own(connection, told);
  if (!told.empty()) told = "; " + told;
  fault.empty() ? tell(file + ": " + row_numbers(connection, tables) + told) : faults(file, 0, fault);
  return fault.empty();
}

bool check_database(const std::string& file, std::span<const Table> tables, const FaultSink& faults, const Tell& tell,
                    OwnCheck own) {
  platform::FileAttributes attributes;
  if (platform::file_attributes(file.c_str(), attributes) != platform::error_none) return true;
  Connection connection;
  std::string fault;
  if (!log_is_whole(file)) {
    fault = "the log has lost changes that were committed";
  } else if (attributes.size == 0) {
    fault = "is empty";  // opening would remove its log
  } else if (connection.open(file, Durability::process) != Outcome::done) {
    fault = connection.fault();
  }
  if (fault.empty()) return tell_check(file, connection, tables, faults, tell, own);
  faults(file, 0, fault);
  return false;
}

void BackgroundCheck::break_off() {
  if (!thread_.joinable()) return;
  {
    const std::scoped_lock lock(mutex_);
    ending_ = true;
    if (connection_.is_open()) sqlite3_interrupt(connection_.get());
  }
  thread_.join();
}

void BackgroundCheck::start(std::string file, std::span<const Table> tables,
                            std::function<void(const std::string&)> damaged) {
  try {
    thread_ = std::thread([this, file = std::move(file), tables, damaged = std::move(damaged)] {
      try {
        run(file, tables, damaged);
      } catch (const std::bad_alloc&) {  // then it is not checked
      }
    });
  } catch (const std::system_error&) {  // nor without a thread
  }
}

void BackgroundCheck::run(const std::string& file, std::span<const Table> tables,
                          const std::function<void(const std::string&)>& damaged) {
  {
    const std::scoped_lock lock(mutex_);
    if (ending_ || connection_.open(file, Durability::process) != Outcome::done) return;
  }
  const std::string fault = check_tables(connection_, tables);
  const std::scoped_lock lock(mutex_);
  connection_.close();
  if (!ending_ && !fault.empty()) damaged(fault);
}

}  // namespace ox::manager
