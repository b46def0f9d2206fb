// The event log: numbers events, keeps them, and lets those who wait read them in order, each from its own place.
//
// What happens in one turn of the event loop is one batch: it is committed at the turn's end, then answered for and
// shown to the readers. A reader that falls behind costs no memory: it has its place, and reads the files from there.
#pragma once

#include <array>
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "manager/base/settings.h"
#include "manager/events/record.h"
#include "manager/events/store.h"

namespace ox::manager {

struct LoggedEvent {
  Sequence sequence = 0;
  bool trap = false;
  Bytes body;
  // What reports carry of it, made when the first reader asks, by kind of report.
  mutable std::array<std::shared_ptr<const Bytes>, 3> report_data;
};
using EventRef = std::shared_ptr<const LoggedEvent>;

// Somebody who reads the events in order.
class EventReader {
 public:
  explicit EventReader(bool only_traps) : traps_only(only_traps) {}
  EventReader(const EventReader&) = delete;
  EventReader& operator=(const EventReader&) = delete;
  virtual ~EventReader() = default;
  // There may be something to read again.
  virtual void wake() = 0;

  const bool traps_only;
  std::uint64_t turn = 0;     // readers are woken in the order in which they came
  Sequence place = 0;         // what was read last
  std::deque<EventRef> page;  // read ahead from the files
  bool at_damage = false;     // what comes behind the page does not read
};

class EventLog {
 public:
  // Keeps its files in that directory.
  EventLog(asio::io_context& loop, const Settings& settings, const std::string& directory);

  // False, with the fault reported, when the files cannot be used.
  [[nodiscard]] bool open(FaultSink faults);

  // Checks the files beside the work; what turns out to be damaged is set aside, and what reads of it kept.
  void check();

  // Gives the event its number and what else the sender has left out, and logs it. `done` gets the completed event when
  // it is safe, or 144. One that is not to be listed goes to the waits alone. Returns its number.
  using Done = std::function<void(OX_RESULT, const Bytes&)>;
  Sequence submit(EventPtr event, const std::string& sender, Done done, bool listed = true);

  // Logs an event of the manager about itself.
  void tell(std::uint32_t level, const std::string& summary, const std::string& detail, Done done = nullptr);

  // The sequence of the event with that send identifier, logged or not; nothing when there was none yet.
  [[nodiscard]] std::optional<Sequence> sequence_of(std::uint32_t send_id) const;
  // Changes of one event; when_safe tells when they hold.
  void replace(const StoredEvent& event);
  void unlist(StoredEvent event);    // out of the log; waits that have not had it still get it
  void withdraw(Sequence sequence);  // as if it had never been sent

  [[nodiscard]] const std::map<std::string, WaitMark>& marks() const { return marks_; }
  void set_mark(const std::string& name, const WaitMark& mark);
  static constexpr std::uint32_t seen_now = 0xFFFFFFFF;  // in a mark: a process has the wait open

  // Calls back when this turn's changes are committed, false when they could not be.
  void when_safe(std::function<void(bool)> done);
  // Commits now.
  void flush();

  // Lets a reader read what comes after that place. Readers are told to wake when there is something, again when they
  // have read everything and something comes that they want.
  void add(EventReader& reader, Sequence place);
  void remove(EventReader& reader);
  enum class Read { event, lost, nothing };
  // The next event that the reader wants. `lost`, with its place moved on, when the log has not kept what came next, or
  // when the reader was more than `limit` events behind: it has lost those.
  [[nodiscard]] Read read(EventReader& reader, Sequence limit, EventRef& event);

  // For looking at events; flush first, where those of this turn count.
  [[nodiscard]] EventStore& store() { return store_; }
  [[nodiscard]] Sequence last() const { return committed_; }  // of the events that are safe

  // Removes what is too old or too much, in steps, and forgets waits that nobody has had open for that long.
  void tidy(std::uint32_t now);

 private:
  void complete(evmsg* event, const std::string& sender);
  void show(const std::vector<EventRef>& events);
  void publish(EventRef event);
  void schedule();
  void tidy_later();
  void tidy_step();
  void forget_pages(Sequence sequence);
  [[nodiscard]] EventRef next_after(EventReader& reader);
  [[nodiscard]] Sequence needed_from() const;
  void trim_recent();
  [[nodiscard]] std::deque<EventRef>::iterator find_recent(Sequence sequence);

  asio::io_context& loop_;
  const Settings& settings_;
  EventStore store_;
  asio::steady_timer timer_;
  std::map<std::string, WaitMark> marks_;
  Sequence given_ = 0;           // the last sequence given, committed or not
  Sequence committed_ = 0;       // the last that is
  std::vector<EventRef> fresh_;  // of this turn
  std::vector<std::function<void(bool)>> safe_;
  bool scheduled_ = false;
  EventStore::Excess excess_;
  bool tidying_ = false;
  std::deque<EventRef> recent_;  // the newest committed events
  std::size_t recent_bytes_ = 0;
  bool late_ = false;  // there are idle readers that have not been told of all events
  struct InTurn {
    bool operator()(const EventReader* a, const EventReader* b) const { return a->turn < b->turn; }
  };
  using Readers = std::set<EventReader*, InTurn>;
  Readers readers_;
  Readers idle_;  // those of them that have read everything
  std::uint64_t last_turn_ = 0;
};

}  // namespace ox::manager
