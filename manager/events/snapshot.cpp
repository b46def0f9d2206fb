#include "manager/events/snapshot.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace ox::manager {
EventSnapshot::EventSnapshot(Database& database, std::size_t table, std::shared_ptr<int> begun)
    : file_(database.file()),
      after_(database, connection_, table, "WHERE sequence > ? ORDER BY sequence"),
      before_(database, connection_, table, "WHERE sequence < ? ORDER BY sequence DESC"),
      begun_(std::move(begun)) {}

// Pages are read once, in their order: few need to be kept.
Outcome EventSnapshot::open() {
  if (connection_.is_open()) return Outcome::done;
  const Outcome opened = connection_.open(file_, Durability::process);
  return opened == Outcome::done ? connection_.run("PRAGMA cache_size = -256") : opened;
}

// The first thing that is read fixes the moment.
Outcome EventSnapshot::begin() {
  has_begun_ = true;
  ++*begun_;
  const Outcome opened = open();
  return opened == Outcome::done ? connection_.run("BEGIN; SELECT 1 FROM row_counts LIMIT 1") : opened;
}

void EventSnapshot::end() noexcept {
  if (std::exchange(has_begun_, false)) --*begun_;
  try {
    if (connection_.is_open() && connection_.run("ROLLBACK") == Outcome::done) return;
  } catch (const std::bad_alloc&) {
  }
  close();
}

Outcome EventSnapshot::read(Query& query, std::uint64_t from, const Take& take) {
  if (!connection_.is_open()) return Outcome::refused;
  return query.rows(
      [&](const Row& row) {
        return take({row.number(0), (row.number(2) & kept_bits) == is_listed, row.bytes(3)});
      },
      std::min(from, highest_sequence));
}

}  // namespace ox::manager
