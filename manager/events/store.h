// The events in their database, with how far each persistent wait has come and the numbers in use.
//
// Changes are gathered and take effect together, at commit. Reads see what has been committed.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "manager/base/faults.h"
#include "manager/base/payload.h"
#include "manager/events/snapshot.h"
#include "manager/storage/database.h"
#include "manager/storage/reserve.h"

namespace ox::manager {

// Numbers events in their order, from 1 on, for the whole life of an installation.
using Sequence = std::uint64_t;

struct StoredEvent {
  Sequence sequence = 0;
  std::uint32_t arrived = 0;  // seconds since 1970
  bool listed = true;         // false: deleted from the log, and kept for waits that have not had it
  Bytes body;
};

// How far a persistent wait has come.
struct WaitMark {
  Sequence taken = 0;      // the last event that it has taken
  std::uint32_t seen = 0;  // when a process last opened or closed it
};

class EventStore {
 public:
  // "events.db" of the directory, and "events.numbers" beside it.
  EventStore(const std::string& directory, Durability durability);
  ~EventStore() { close_snapshots(); }
  EventStore(const EventStore&) = delete;
  EventStore& operator=(const EventStore&) = delete;

  [[nodiscard]] static std::span<const Table> tables();

  // Reads what is there; takes faults from then on. False when it cannot be used. What is damaged is set aside, and
  // what reads of it is kept.
  [[nodiscard]] bool open(FaultSink faults);

  void put(const StoredEvent& event);  // a new event, or one in place of that with its sequence
  void erase(Sequence sequence);
  void put_wait(const std::string& name, const WaitMark& mark);
  void erase_wait(const std::string& name);
  // False when the disk does not take the changes: they are undone.
  [[nodiscard]] bool commit();

  // Events in order, next to the sequence on either side: at most `count`, and no more once they exceed `bytes`.
  // Damaged, with those read before, when the next one does not read.
  [[nodiscard]] Outcome after(Sequence sequence, std::size_t count, std::size_t bytes, std::vector<StoredEvent>& page);
  [[nodiscard]] Outcome before(Sequence sequence, std::size_t count, std::size_t bytes, std::vector<StoredEvent>& page);
  [[nodiscard]] Outcome get(Sequence sequence, std::optional<StoredEvent>& event);
  // What has been committed by now; it ends with its last owner. Null, and told, when the system does not let it be
  // read. It reads no more when the store is renewed or gone.
  [[nodiscard]] std::shared_ptr<EventSnapshot> snapshot();
  // Checks all of it beside the work; calls back from the loop when something is wrong: renew() is due.
  void check(asio::io_context& loop, const std::function<void()>& damaged) { database_.check(loop, damaged); }
  // Sets the database aside and goes on with what reads of it. `done` gets false when the system does not let it. What
  // is changed meanwhile is changed behind that; nothing reads before it.
  void renew(const std::function<void(bool)>& done);
  [[nodiscard]] bool is_renewing() const { return database_.is_renewing(); }
  // `renewed` is called behind a renewal that a commit has begun.
  void on_renewed(std::function<void(bool)> renewed) { on_renewed_ = std::move(renewed); }
  [[nodiscard]] Database& database() { return database_; }
  // Goes on behind all numbers that may have been given: the database is an older one. False when it is refused.
  [[nodiscard]] bool skip_given();
  // From where on events read again, when those behind that place do not: the last number when none does.
  [[nodiscard]] Sequence past_damage(Sequence sequence);
  [[nodiscard]] const std::map<std::string, WaitMark>& waits() const { return waits_; }

  // What need not be kept.
  struct Excess {
    std::uint64_t bytes = 0;           // the bodies of all events may have that many
    std::uint32_t arrived_before = 0;  // none may be older
    Sequence unlisted_up_to = 0;
  };
  // Erases the oldest events, and unlisted ones, until that time at the latest; true when there are more of them.
  [[nodiscard]] bool tidy(const Excess& excess, std::chrono::steady_clock::time_point until);

  [[nodiscard]] Sequence last() const { return last_; }         // the highest sequence ever used
  [[nodiscard]] Sequence erased() const { return erased_; }     // tidy has come this far
  [[nodiscard]] std::uint64_t bytes() const { return bytes_; }  // of all bodies

 private:
  // Of the events that are there.
  struct Events {
    bool sound = false;
    std::uint64_t rows = 0;
    std::uint64_t bytes = 0;
    Sequence last = 0;
    std::set<Sequence> unlisted{};
  };
  [[nodiscard]] static Events look_through(Connection& connection);
  [[nodiscard]] bool load(Events events);
  [[nodiscard]] bool load_waits();
  [[nodiscard]] bool load_numbers();
  [[nodiscard]] std::uint64_t size_of(Sequence sequence);
  void list(Sequence sequence, bool listed);
  [[nodiscard]] bool prepare();
  [[nodiscard]] bool go_on_from(std::optional<Sequence> bound);
  void take_back();
  void close_snapshots();
  [[nodiscard]] bool erase_oldest(const Excess& excess);
  static Outcome page_of(Query& query, Sequence from, std::size_t count, std::size_t bytes,
                         std::vector<StoredEvent>& page);

  Database database_;
  Reserve reserve_;
  Query after_;
  Query before_;
  Query get_;
  Query all_waits_;
  Query numbers_;
  Statement size_{database_.connection(), "SELECT length(body) FROM events WHERE sequence = ?"};
  Statement oldest_{database_.connection(), "SELECT sequence, arrived FROM events ORDER BY sequence LIMIT 1"};
  std::shared_ptr<int> begun_snapshots_ = std::make_shared<int>(0);
  std::vector<std::weak_ptr<EventSnapshot>> snapshots_;
  std::shared_ptr<EventSnapshot> spare_;  // one of them, which stays open
  std::map<std::string, WaitMark> waits_;
  std::map<std::string, std::uint64_t> wait_keys_;
  std::uint64_t last_wait_key_ = 0;
  std::set<Sequence> unlisted_;
  Sequence last_ = 0;
  Sequence erased_ = 0;
  std::uint64_t bytes_ = 0;
  bool numbers_changed_ = false;
  // As committed, for a commit that fails.
  struct Numbers {
    Sequence last = 0;
    Sequence erased = 0;
    std::uint64_t bytes = 0;
  };
  Numbers committed_;
  std::vector<std::pair<Sequence, bool>> listed_before_;
  bool waits_changed_ = false;
  std::function<void(bool)> on_renewed_ = [](bool) {};
  std::vector<std::function<void()>> later_;  // changes, behind the renewal
};

}  // namespace ox::manager
