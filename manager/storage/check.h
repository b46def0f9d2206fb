// The whole check of a database: that its pages hang together, and every row's checksum.
#pragma once

#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <thread>

#include "manager/base/faults.h"
#include "manager/storage/connection.h"
#include "manager/storage/table.h"

namespace ox::manager {

// What is wrong with an open database; empty when it is sound.
[[nodiscard]] std::string check_tables(Connection& connection, std::span<const Table> tables);

// What else is wrong with a sound one, as its owner knows; empty when nothing is, and `told` may get what to tell.
using OwnCheck = std::string (*)(Connection& connection, std::string& told);

// The same, told of the file. Tells how many rows each table of a sound one has.
using Tell = std::function<void(const std::string& text)>;
[[nodiscard]] bool tell_check(const std::string& file, Connection& connection, std::span<const Table> tables,
                              const FaultSink& faults, const Tell& tell, OwnCheck own = nullptr);

// The same of a file that no manager works on. It need not be there.
[[nodiscard]] bool check_database(const std::string& file, std::span<const Table> tables, const FaultSink& faults,
                                  const Tell& tell, OwnCheck own = nullptr);

// A check in a thread of its own, beside the work on the database.
class BackgroundCheck {
 public:
  BackgroundCheck() = default;
  ~BackgroundCheck() { break_off(); }
  BackgroundCheck(const BackgroundCheck&) = delete;
  BackgroundCheck& operator=(const BackgroundCheck&) = delete;

  // Once. `damaged` is called in the thread, with what is wrong.
  void start(std::string file, std::span<const Table> tables, std::function<void(const std::string&)> damaged);
  // One that has begun, for good; it has closed the file.
  void break_off();

 private:
  void run(const std::string& file, std::span<const Table> tables,
           const std::function<void(const std::string&)>& damaged);

  Connection connection_;
  std::mutex mutex_;  // of the connection's opening and its breaking off
  bool ending_ = false;
  std::thread thread_;
};

}  // namespace ox::manager
