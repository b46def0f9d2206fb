#include "manager/events/readers.h"

#include <algorithm>
#include <new>
#include <utility>

#include "manager/base/log.h"
#include "manager/events/record.h"

namespace ox::manager {
namespace {

constexpr std::size_t most_recent_bytes = 8u << 20;
constexpr std::size_t page_events = 32;
constexpr std::size_t page_bytes = 32u << 10;

EventRef logged(StoredEvent event) {
  auto made = std::make_shared<LoggedEvent>();
  EventPtr decoded;
  made->sequence = event.sequence;
  made->trap = decode_events(event.body, decoded) == OX_OK && is_trap(decoded.get());
  made->body = std::move(event.body);
  return made;
}

}  // namespace

bool is_trap(const evmsg* event) { return (number_of(event, &oxeEvmsgGetEventType) & OX_EVENT_TRAP) != 0; }

void EventReaders::add(EventReader& reader, Sequence place) {
  reader.place = place;
  reader.turn = ++last_turn_;
  readers_.insert(&reader);
  if (place < last_) return reader.wake();
  idle_.insert(&reader);
}

void EventReaders::remove(EventReader& reader) {
  readers_.erase(&reader);
  idle_.erase(&reader);
}

// Without memory the readers find the events in the files, when they are woken by the next ones.
void EventReaders::show(const std::vector<EventRef>& events, Sequence last) {
  last_ = last;
  try {
    for (const EventRef& event : events) publish(event);
  } catch (const std::bad_alloc&) {
    forget_recent();
    late_ = true;
    log(Severity::error, "out of memory: events are shown late");
  }
}

void EventReaders::begin_anew(Sequence last) {
  last_ = last;
  forget_recent();
  for (EventReader* reader : std::exchange(idle_, {})) reader->wake();
}

void EventReaders::publish(EventRef event) {
  wake_idle(*event);
  const std::size_t size = event->body.size();
  recent_.push_back(std::move(event));
  recent_bytes_ += size;
  tidied();
}

void EventReaders::wake_idle(const LoggedEvent& event) {
  for (auto entry = idle_.begin(); entry != idle_.end();) {
    EventReader& reader = **entry;
    if (reader.traps_only && !event.trap && !late_) {
      reader.place = event.sequence;
      ++entry;
    } else {
      reader.wake();
      entry = idle_.erase(entry);
    }
  }
  late_ = false;
}

void EventReaders::tidied() {
  while (!recent_.empty() && (recent_bytes_ > most_recent_bytes || recent_.front()->sequence <= store_.erased())) {
    recent_bytes_ -= recent_.front()->body.size();
    recent_.pop_front();
  }
}

void EventReaders::forget_recent() {
  recent_.clear();
  recent_bytes_ = 0;
}

// What readers have read ahead is read again.
void EventReaders::forget_pages(Sequence sequence) {
  for (EventReader* reader : readers_) {
    if (reader->place < sequence) reader->page.clear();
  }
}

void EventReaders::replaced(const StoredEvent& event) {
  forget_pages(event.sequence);
  const auto place = find_recent(event.sequence);
  if (place == recent_.end()) return;
  EventRef changed = logged(event);
  recent_bytes_ += changed->body.size() - (*place)->body.size();
  *place = std::move(changed);
}

void EventReaders::withdrawn(Sequence sequence) {
  forget_pages(sequence);
  const auto place = find_recent(sequence);
  if (place == recent_.end()) return;
  recent_bytes_ -= (*place)->body.size();
  recent_.erase(place);
}

EventReaders::Recent::iterator EventReaders::first_recent_from(Sequence sequence) {
  return std::lower_bound(recent_.begin(), recent_.end(), sequence,
                          [](const EventRef& event, Sequence wanted) { return event->sequence < wanted; });
}

EventReaders::Recent::iterator EventReaders::find_recent(Sequence sequence) {
  const auto found = first_recent_from(sequence);
  return found != recent_.end() && (*found)->sequence == sequence ? found : recent_.end();
}

void EventReaders::read_page(EventReader& reader) {
  std::vector<StoredEvent> page;
  reader.at_damage = store_.after(reader.place, page_events, page_bytes, page) != Outcome::done;
  for (StoredEvent& event : page) {
    if (event.sequence <= last_) reader.page.push_back(logged(std::move(event)));
  }
}

EventRef EventReaders::next_after(EventReader& reader) {
  if (reader.place >= last_) return nullptr;
  if (!recent_.empty() && reader.place + 1 >= recent_.front()->sequence) {
    reader.page.clear();
    const auto found = first_recent_from(reader.place + 1);
    return found == recent_.end() ? nullptr : *found;
  }
  if (reader.page.empty()) read_page(reader);
  if (reader.page.empty()) return nullptr;
  EventRef event = std::move(reader.page.front());
  reader.page.pop_front();
  return event;
}

bool EventReaders::has_lost(EventReader& reader, Sequence limit) const {
  Sequence end = store_.erased();
  if (last_ > limit && reader.place < last_ - limit) end = std::max(end, last_ - limit / 2);
  if (reader.place >= end) return false;
  reader.place = end;
  reader.page.clear();
  return true;
}

EventReaders::Read EventReaders::read(EventReader& reader, Sequence limit, EventRef& event) {
  if (store_.is_away()) {
    idle_.insert(&reader);
    return Read::nothing;
  }
  if (has_lost(reader, limit)) return Read::lost;
  while (EventRef found = next_after(reader)) {
    reader.place = found->sequence;
    if (found->body.empty()) return Read::lost;
    if (!reader.wants(*found)) continue;
    event = std::move(found);
    return Read::event;
  }
  if (std::exchange(reader.at_damage, false)) {
    reader.place = std::min(store_.past_damage(reader.place), last_);
    return Read::lost;
  }
  idle_.insert(&reader);
  return Read::nothing;
}

Sequence EventReaders::all_have_read() const {
  Sequence place = ~Sequence{0};
  for (const EventReader* reader : readers_) place = std::min(place, reader->place);
  return place;
}

}  // namespace ox::manager
