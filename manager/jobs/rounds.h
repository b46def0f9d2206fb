// The rounds that are due, asked and stored. The agents of all rounds of one moment are asked in the order of their
// offsets, spread over some time, an agent for all rounds together.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "manager/jobs/collector_tools.h"
#include "manager/jobs/log_collection.h"

namespace ox::manager {

class Rounds {
 public:
  // `ended`: the round has ended, and its values are safe.
  using Ended = std::function<void(const LogCollectionPtr&, const Round&)>;
  Rounds(const CollectorTools& tools, Ended ended);

  // Begins a round of an entry, which has targets and is being filled.
  void begin(const LogCollectionPtr& entry, std::uint32_t due);
  // A round of which nothing is asked: all that is due is a gap.
  void skip(const LogCollectionPtr& entry, std::uint32_t due, Gap gap);

  // One for which there is no room: its values are a gap, told when there is room again.
  void refuse(LogCollection& entry, std::uint32_t due, Gap why);
  void tell_refused(LogCollection& entry);

  [[nodiscard]] std::uint64_t refused() const { return refused_; }   // values, of such rounds
  [[nodiscard]] std::int64_t lateness() const { return lateness_; }  // milliseconds, of the last request

 private:
  struct Cursor {
    LogCollectionPtr entry;
    std::shared_ptr<Round> round;
    std::shared_ptr<const LogTargets> targets;
    std::size_t next = 0;
    [[nodiscard]] bool at_end() const { return next == targets->size(); }
  };
  struct Wave {
    std::int64_t due = 0;   // by the time that has passed
    std::int64_t span = 0;  // milliseconds in which all agents are asked
    std::vector<Cursor> cursors{};
  };

  // Null when the disk refuses it.
  std::shared_ptr<Round> open_round(LogCollection& entry, std::uint32_t due);
  void go_on();
  void wait(std::int64_t milliseconds);
  // Asks those whose moment has come; the time until the next one, or nothing when all have been.
  [[nodiscard]] std::optional<std::int64_t> ask_due(Wave& wave, std::chrono::steady_clock::time_point until);
  void ask(const Cursor& cursor, const std::shared_ptr<LogTarget>& target);
  void ask_agent(const Cursor& cursor, const std::shared_ptr<LogTarget>& target);
  void read_stored(const Cursor& cursor, LogTarget& target);
  void gap_all(const Cursor& cursor, LogTarget& target, Gap gap, std::uint32_t code);
  void note_failure(const LogCollection& entry, LogTarget& target, const Oid& path, OX_RESULT code);
  void tell_failure(const LogCollection& entry, const LogTarget& target, const std::string& path, OX_RESULT code);
  void target_ended(const LogCollectionPtr& entry, const std::shared_ptr<Round>& round);
  void end_round(const LogCollectionPtr& entry, const std::shared_ptr<Round>& round, Gap rest);

  const CollectorTools& tools_;
  Ended ended_;
  std::map<std::uint32_t, Wave> waves_;  // by their moments
  std::unique_ptr<Timer> timer_;
  std::int64_t waiting_until_ = 0;  // by the time that has passed; 0: not at all
  std::int64_t lateness_ = 0;
  std::uint64_t refused_ = 0;
};

}  // namespace ox::manager
