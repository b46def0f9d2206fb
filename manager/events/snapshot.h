// The events as they are at one moment, whatever becomes of them while somebody looks at them.
//
// It has a connection of its own, and the database keeps for it what it shows: it is to end soon.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <span>

#include "manager/storage/database.h"

namespace ox::manager {

// That the database can have.
inline constexpr std::uint64_t highest_sequence = std::numeric_limits<std::int64_t>::max();

// In the column "listed": what is kept of an event in the lowest bits, above them whose it is.
enum : std::uint64_t { not_listed = 0, is_listed = 1, is_dropped = 2, kept_bits = 3 };
inline constexpr unsigned origin_shift = 2;

class EventSnapshot {
 public:
  // Of the events in that table, as EventStore keeps them. `begun` counts those that have begun and not ended.
  EventSnapshot(Database& database, std::size_t table, std::shared_ptr<int> begun);

  // The moment. An open snapshot cannot begin again.
  [[nodiscard]] Outcome begin();
  void end() noexcept;
  // Ends it for good, at any time: nothing reads any more, and the files may be put elsewhere.
  void close() noexcept { connection_.close(); }

  struct Event {
    std::uint64_t sequence = 0;
    bool listed = true;
    std::span<const std::byte> body;  // until the next one
  };
  using Take = std::function<bool(const Event& event)>;
  // Gives the events in order, from the next to the sequence on either side, until `take` answers false.
  [[nodiscard]] Outcome after(std::uint64_t sequence, const Take& take) { return read(after_, sequence, take); }
  [[nodiscard]] Outcome before(std::uint64_t sequence, const Take& take) { return read(before_, sequence, take); }
  [[nodiscard]] std::string fault() const { return connection_.fault(); }
  // So many are looked at, with this one: their owners share the loop's time.
  [[nodiscard]] int begun() const { return *begun_; }

 private:
  [[nodiscard]] Outcome open();
  [[nodiscard]] Outcome read(Query& query, std::uint64_t from, const Take& take);

  const std::string file_;
  Connection connection_;
  Query after_;
  Query before_;
  std::shared_ptr<int> begun_;
  bool has_begun_ = false;
};

}  // namespace ox::manager
