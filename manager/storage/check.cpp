#include "manager/storage/check.h"

#include <sqlite3.h>

#include <new>
#include <system_error>

namespace ox::manager {

std::string check_tables(Connection& connection, std::span<const Table> tables) {
  std::string text;
  Statement pages(connection, "PRAGMA quick_check(1)");
  const Outcome outcome = pages.begin().rows([&](const Row& row) {
    if (row.text(0) != "ok") text = row.text(0);
    return text.empty();
  });
  if (outcome != Outcome::done) return connection.fault();
  for (const Table& table : tables) {
    const auto sound = static_cast<int>(table.columns.size());
    Statement rows(connection, select_text(table, ""));
    const Outcome read = text.empty() ? rows.begin().rows([&](const Row& row) {
      if (row.number(sound) == 0) text = "row " + std::to_string(row.number(0)) + " of " + std::string(table.name);
      return text.empty();
    })
                                      : Outcome::done;
    if (read != Outcome::done) return connection.fault();
  }
  return text;
}

BackgroundCheck::~BackgroundCheck() {
  {
    const std::scoped_lock lock(mutex_);
    ending_ = true;
    if (connection_.is_open()) sqlite3_interrupt(connection_.get());
  }
  if (thread_.joinable()) thread_.join();
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
