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
#include "manager/events/shares.h"
#include "manager/events/snapshot.h"
#include "manager/storage/database.h"
#include "manager/storage/reserve.h"

namespace ox::manager {

struct StoredEvent {
  Sequence sequence = 0;
  std::uint32_t arrived = 0;  // seconds since 1970
  bool listed = true;         // false: not in the log, and kept for waits that have not had it
  Bytes body;                 // empty: it has been dropped for want of room, and a wait has not come past it
  Origin origin = 0;
};

// How far a persistent wait has come.
struct WaitMark {
  Sequence taken = 0;       // the last event that it has taken
  std::uint32_t seen = 0;   // when a process last opened or closed it
  std::uint32_t maker = 0;  // the mark of the user who opened it first; 0: not known
};

// Of a database that is open and sound: `told` gets what each kind of events has of it. Nothing can be wrong with that.
[[nodiscard]] std::string check_events(Connection& connection, std::string& told);

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
  // Sets the database aside and goes on with what reads of it. `done` gets false when the system does not let it.
  void renew(const std::function<void(bool)>& done);
  // It is renewed, or its log begins anew: what is changed meanwhile is kept, and nothing reads, until the owner has
  // made all of it and said so.
  [[nodiscard]] bool is_away() const { return database_.is_away() || keeps_; }
  using Changes = std::vector<std::function<void()>>;
  [[nodiscard]] Changes take_kept() { return std::exchange(later_, {}); }
  void keep_changes(bool on);
  void make(const Changes& changes);
  // `back` is called behind a renewal that a commit has begun, with whether it was one, and when the log has begun
  // anew.
  void on_back(std::function<void(bool renewed)> back) { on_back_ = std::move(back); }
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
    Sequence passed = 0;               // what comes up to there nobody waits for
  };
  // Erases events that are too old, those of whoever has too much, and unlisted ones, until that time at the latest;
  // true when there are more of them.
  [[nodiscard]] bool tidy(const Excess& excess, std::chrono::steady_clock::time_point until);

  [[nodiscard]] Sequence last() const { return last_; }                  // the highest sequence ever used
  [[nodiscard]] Sequence erased() const { return erased_; }              // all up to there have become too old
  [[nodiscard]] std::uint64_t bytes() const { return shares_.bytes(); }  // of all bodies
  [[nodiscard]] const EventShares& shares() const { return shares_; }

 private:
  friend std::string check_events(Connection& connection, std::string& told);
  // Of the events that are there.
  struct Events {
    bool sound = false;
    std::uint64_t rows = 0;
    std::uint64_t marks = 0;
    Sequence last = 0;
    std::set<Sequence> unlisted{};
    EventShares shares{};
  };
  [[nodiscard]] static Events look_through(Connection& connection);
  [[nodiscard]] bool load(Events events);
  [[nodiscard]] bool load_waits();
  [[nodiscard]] bool load_numbers();
  // Of a row; nothing when there is none.
  struct Kept {
    std::uint32_t arrived = 0;
    std::uint64_t listed = 0;
    std::uint64_t size = 0;
  };
  [[nodiscard]] std::optional<Kept> kept(Sequence sequence);
  void forget(Sequence sequence);
  void put_row(const StoredEvent& event);
  // A change that memory runs out in is half a one: the commit undoes it.
  template <class Made>
  void change(const Made& made) {
    const bool before = std::exchange(whole_, false);
    made();
    whole_ = before;
  }
  void list(Sequence sequence, bool listed);
  [[nodiscard]] bool prepare();
  [[nodiscard]] bool go_on_from(std::optional<Sequence> bound);
  void take_back();
  void close_snapshots();
  [[nodiscard]] bool erase_aged(const Excess& excess);
  [[nodiscard]] bool drop_one(const Excess& excess);
  void drop(const EventShares::Place& place, bool waited_for);
  void leave_mark(const EventShares::Place& place, std::uint32_t arrived);
  [[nodiscard]] std::optional<Sequence> mark_beside(Statement& neighbour, Sequence sequence);
  [[nodiscard]] bool erase_passed(const Excess& excess);
  static Outcome page_of(Query& query, Sequence from, std::size_t count, std::size_t bytes,
                         std::vector<StoredEvent>& page);

  Database database_;
  Reserve reserve_;
  Query after_;
  Query before_;
  Query get_;
  Query all_waits_;
  Query numbers_;
  Statement kept_{database_.connection(), "SELECT arrived, listed, length(body) FROM events WHERE sequence = ?"};
  Statement next_{database_.connection(),
                  "SELECT sequence, listed FROM events WHERE sequence > ? ORDER BY sequence LIMIT 1"};
  Statement last_before_{database_.connection(),
                         "SELECT sequence, listed FROM events WHERE sequence < ? ORDER BY sequence DESC LIMIT 1"};
  Statement oldest_{database_.connection(), "SELECT sequence, arrived FROM events ORDER BY sequence LIMIT 1"};
  std::shared_ptr<int> begun_snapshots_ = std::make_shared<int>(0);
  std::vector<std::weak_ptr<EventSnapshot>> snapshots_;
  std::shared_ptr<EventSnapshot> spare_;  // one of them, which stays open
  std::map<std::string, WaitMark> waits_;
  std::map<std::string, std::uint64_t> wait_keys_;
  std::uint64_t last_wait_key_ = 0;
  std::set<Sequence> unlisted_;  // and the marks of what has been dropped
  EventShares shares_;
  bool planned_ = false;  // tidy knows who has to give way
  Sequence last_ = 0;
  Sequence erased_ = 0;
  bool numbers_changed_ = false;
  bool whole_ = true;
  // As committed, for a commit that fails.
  struct Numbers {
    Sequence last = 0;
    Sequence erased = 0;
  };
  Numbers committed_;
  std::vector<std::pair<Sequence, bool>> listed_before_;
  bool waits_changed_ = false;
  std::function<void(bool)> on_back_ = [](bool) {};
  Changes later_;  // behind the renewal
  bool keeps_ = false;
};

}  // namespace ox::manager
