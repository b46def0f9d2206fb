// Whole copies of databases, and their putting in place.
#pragma once

#include <atomic>
#include <string>

#include "manager/storage/connection.h"

namespace ox::manager {

// A database as it is at one moment, while others go on writing it.
class Snapshot {
 public:
  // Of this moment. Not done: `fault` says why.
  [[nodiscard]] Outcome take(const std::string& file);
  // Into a new file. False, with the reason, and the file removed, when that fails or is broken off.
  [[nodiscard]] bool copy(const std::string& to, std::string& why);
  // What goes on in another thread ends soon.
  void break_off() noexcept;

  [[nodiscard]] Connection& connection() { return connection_; }

 private:
  [[nodiscard]] int copy_pages(Connection& copy);
  [[nodiscard]] std::string copy_into(const std::string& to);

  Connection connection_;
  std::atomic<bool> ending_ = false;
};

// Whether there is a file or a folder of that name.
[[nodiscard]] bool exists(const std::string& path);

// Sets a database, with its log, aside under the dated name, which is given, and puts another in its place.
[[nodiscard]] bool replace_database(const std::string& file, const std::string& made, std::string& name);

// The name with the time, and with a number where that is taken.
[[nodiscard]] std::string dated(const std::string& file);

}  // namespace ox::manager
