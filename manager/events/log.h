// The event log: numbers events and keeps them.
//
// What happens in one turn of the event loop is one batch: it is committed at the turn's end, then answered for and
// shown to the readers.
#pragma once

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "manager/base/pace.h"
#include "manager/base/settings.h"
#include "manager/events/readers.h"
#include "manager/events/record.h"
#include "manager/events/store.h"

namespace ox::manager {

class EventLog {
 public:
  // Keeps its files in that directory.
  EventLog(asio::io_context& loop, const Settings& settings, const std::string& directory);

  // False, with the fault reported, when the files cannot be used.
  [[nodiscard]] bool open(FaultSink faults);

  // Checks the files beside the work; what turns out to be damaged is set aside, and what reads of it kept.
  void check();
  // Sets the store aside and goes on with what reads of it. Events that come meanwhile are answered for behind that.
  void renew() {
    store_.renew([this](bool renewed) { go_on(renewed); });
  }

  // Gives the event its number and what else the sender has left out, and logs it: on the share of whose it is, a
  // severe one on the next. `done` gets the completed event when it is safe, or 144. One that is not to be listed goes
  // to the waits alone. Returns it as it is logged.
  using Done = std::function<void(OX_RESULT, const Bytes&)>;
  EventRef submit(EventPtr event, const std::string& sender, Origin origin, Done done, bool listed = true);

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

  // Of the events that are safe.
  [[nodiscard]] EventReaders& readers() { return readers_; }

  // For looking at events; flush first, where those of this turn count.
  [[nodiscard]] EventStore& store() { return store_; }

  // Called with the name of each wait that is forgotten.
  void on_forgotten(std::function<void(const std::string&)> forgotten) { forgotten_ = std::move(forgotten); }
  // Removes what is too old or too much, in steps, and forgets waits that nobody has had open for that long.
  void tidy(std::uint32_t now);

 private:
  using Waiting = std::vector<std::function<void(bool)>>;
  void go_on_from_store();
  void go_on(bool renewed);
  // Of a renewal: what came in a turn waits to be made and committed together.
  struct Turn {
    EventStore::Changes changes{};
    Waiting safe{};
  };
  [[nodiscard]] Turn take_turn();
  void keep_turn();
  void make_kept();
  bool make_turn();
  static void answer(const Waiting& waiting, bool safe);
  void complete(evmsg* event, const std::string& sender);
  void schedule();
  void tidy_later();
  void tidy_if_full();
  void tidy_step();
  [[nodiscard]] Sequence needed_from() const;

  asio::io_context& loop_;
  const Settings& settings_;
  EventStore store_;
  EventReaders readers_{store_};
  asio::steady_timer timer_;
  std::map<std::string, WaitMark> marks_;
  std::function<void(const std::string&)> forgotten_;
  Sequence given_ = 0;           // the last sequence given, committed or not
  std::vector<EventRef> fresh_;  // of this turn
  Waiting safe_;
  bool scheduled_ = false;
  std::deque<Turn> kept_;  // while the store is renewed
  EventStore::Excess excess_;
  Pace pace_;
  bool tidying_ = false;
};

}  // namespace ox::manager
