// Those who read the events in order, each from its own place.
//
// A reader that falls behind costs no memory: it has its place, and reads the files from there.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <set>
#include <vector>

#include <oxbase/oxe.h>

#include "manager/base/component_name.h"
#include "manager/events/store.h"

namespace ox::manager {

struct LoggedEvent {
  Sequence sequence = 0;
  bool trap = false;
  Bytes body;
  // Whose it is, by the type's own name, made when the first reader asks whose role depends on it.
  mutable std::shared_ptr<const ComponentName> component;
  // What reports carry of it, made when the first reader asks, by kind of report.
  mutable std::array<std::shared_ptr<const Bytes>, 3> report_data;
};
using EventRef = std::shared_ptr<const LoggedEvent>;

[[nodiscard]] bool is_trap(const evmsg* event);

// Somebody who reads the events in order.
class EventReader {
 public:
  explicit EventReader(bool only_traps) : traps_only(only_traps) {}
  EventReader(const EventReader&) = delete;
  EventReader& operator=(const EventReader&) = delete;
  virtual ~EventReader() = default;
  // There may be something to read again.
  virtual void wake() = 0;
  // An event that it does not want is passed over.
  [[nodiscard]] virtual bool wants(const LoggedEvent& event) const { return !traps_only || event.trap; }

  const bool traps_only;
  std::uint64_t turn = 0;     // readers are woken in the order in which they came
  Sequence place = 0;         // what was read last
  std::deque<EventRef> page;  // read ahead from the files
  bool at_damage = false;     // what comes behind the page does not read
};

class EventReaders {
 public:
  explicit EventReaders(EventStore& store) : store_(store) {}

  // Lets a reader read what comes after that place. Readers are told to wake when there is something, again when they
  // have read everything and something comes that they want.
  void add(EventReader& reader, Sequence place);
  void remove(EventReader& reader);
  enum class Read { event, lost, nothing };
  // The next event that the reader wants. `lost`, with its place moved on, when the log has not kept what came next, or
  // when the reader was more than `limit` events behind: it has lost those.
  [[nodiscard]] Read read(EventReader& reader, Sequence limit, EventRef& event);
  [[nodiscard]] Sequence last() const { return last_; }  // of the events that may be read: those that are safe

  // What the log tells: these events are safe, up to that number; the store has begun anew there, and who has waited
  // for that reads on.
  void show(const std::vector<EventRef>& events, Sequence last);
  void begin_anew(Sequence last);
  // What has been read ahead must not be delivered as it was.
  void replaced(const StoredEvent& event);
  void withdrawn(Sequence sequence);
  // The store has erased events that were too old.
  void tidied();
  // All of them have read what comes up to there.
  [[nodiscard]] Sequence all_have_read() const;

 private:
  using Recent = std::deque<EventRef>;

  void publish(EventRef event);
  void wake_idle(const LoggedEvent& event);
  void forget_recent();
  void forget_pages(Sequence sequence);
  [[nodiscard]] Recent::iterator first_recent_from(Sequence sequence);
  [[nodiscard]] Recent::iterator find_recent(Sequence sequence);
  void read_page(EventReader& reader);
  [[nodiscard]] EventRef next_after(EventReader& reader);
  [[nodiscard]] bool has_lost(EventReader& reader, Sequence limit) const;

  EventStore& store_;
  Sequence last_ = 0;
  Recent recent_;  // the newest
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
