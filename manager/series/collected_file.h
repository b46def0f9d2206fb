// The database of collected data, and the turn in which all that use it write: what they gather is one transaction,
// committed at the end of the event loop's turn, or a little later where nobody waits for it.
#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "manager/storage/database.h"

namespace ox::manager {

// Which of its tables is which.
struct CollectedTables {
  enum : std::size_t { series, records, entries, axes, cells, chunks, blocks, staged, gaps };
};

class CollectedFile {
 public:
  // Who keeps something in it.
  class User {
   public:
    User() = default;
    User(const User&) = delete;
    User& operator=(const User&) = delete;
    virtual ~User() = default;
    // What a new file needs that has what reads of a damaged one: it is done in another thread, before the user loads.
    [[nodiscard]] virtual Mend mender() = 0;
    // Reads what there is: `renewed` when it is what a damaged file has left. False when it does not read.
    [[nodiscard]] virtual bool load(bool renewed) = 0;
    // Writes what the turn has gathered; false when that cannot be.
    [[nodiscard]] virtual bool put() = 0;
    // Whether it is safe; if not, it is as if it had not been written.
    virtual void ended(bool safe) = 0;
    // Tells those who wait, behind all that the turn's end has to do.
    virtual void answer(bool safe) = 0;
  };

  // "collected.db" of the directory.
  CollectedFile(asio::io_context& loop, const std::string& directory, Durability durability);
  [[nodiscard]] static std::span<const Table> tables();

  // Before the file is opened; the user lives as long as the file does.
  void add(User& user) { users_.push_back(&user); }
  // Opens it; takes faults from then on. What is damaged is set aside, and what reads of it is kept. False, and told,
  // when it cannot be used.
  [[nodiscard]] bool open(FaultSink faults);
  // Checks the database beside the work; what turns out to be damaged is set aside, and what reads of it kept.
  void check();
  // Something is gathered: it is committed at the end of this turn, or when the file is back.
  void schedule();
  // Something is gathered for which nobody waits: more may come before it is committed, for a moment, or until there
  // are many bytes of it.
  void schedule_soon(std::size_t bytes);
  // Now.
  void commit();
  // At the end of the manager: what is gathered.
  void finish();
  void renew();
  [[nodiscard]] bool is_away() const { return database_.is_away(); }
  [[nodiscard]] Database& database() { return database_; }
  [[nodiscard]] asio::io_context& loop() { return loop_; }

 private:
  [[nodiscard]] bool load(bool renewed);
  void renew(const std::function<void(bool)>& done);
  [[nodiscard]] bool put();
  [[nodiscard]] bool may_write();

  asio::io_context& loop_;
  Database database_;
  std::vector<User*> users_;
  bool scheduled_ = false;
  bool gathering_ = false;     // something waits for the timer
  bool timer_is_set_ = false;  // it may be from earlier, and come too soon
  asio::steady_timer timer_;
  bool refused_ = false;                              // the last turn was
  std::chrono::steady_clock::time_point not_before_;  // all of it is tried again
};

}  // namespace ox::manager
