// All that the database has of an entry goes, in steps; its own row goes last.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <vector>

#include "manager/series/kept_entry.h"
#include "manager/storage/database.h"

namespace ox::manager {

class Removal {
 public:
  // Of the entry with that number, whose row says that it is going.
  Removal(EntryId entry, Database& database);

  // Erases until that time, some rows at least.
  void step(std::chrono::steady_clock::time_point until);
  void ended(bool safe);
  [[nodiscard]] bool done() const { return safe_ && at_ == ranges_.size(); }

 private:
  struct Range {
    std::size_t table;
    std::uint64_t from;
    std::uint64_t to;
  };
  [[nodiscard]] bool erase_some(const Range& range);

  Database& database_;
  std::vector<Range> ranges_;
  std::size_t at_ = 0;
  bool safe_ = false;
};

}  // namespace ox::manager
