#include "manager/events/log.h"

#include <algorithm>
#include <asio/post.hpp>
#include <ctime>
#include <new>

#include <oxbase/oxc.h>

#include "manager/base/log.h"

namespace ox::manager {
namespace {

constexpr std::size_t most_recent_bytes = 8u << 20;
constexpr std::size_t page_events = 32;
constexpr std::size_t page_bytes = 32u << 10;
constexpr auto tidy_interval = std::chrono::minutes(1);
constexpr auto tidy_time = std::chrono::milliseconds(10);  // of one step, for which everybody waits

bool is_trap(const evmsg* event) { return (number_of(event, &oxeEvmsgGetEventType) & OX_EVENT_TRAP) != 0; }

EventRef logged(StoredEvent event) {
  auto made = std::make_shared<LoggedEvent>();
  EventPtr decoded;
  made->sequence = event.sequence;
  made->trap = decode_events(event.body, decoded) == OX_OK && is_trap(decoded.get());
  made->body = std::move(event.body);
  return made;
}

void require(OX_RESULT result) {
  if (result != OX_OK) throw std::bad_alloc();  // setting a field fails for no other reason
}

bool is_absent(const evmsg* event, TextGetter get) {
  const char* text = nullptr;
  return get(event, &text) != OX_OK;
}
bool is_absent(const evmsg* event, NumberGetter get) {
  std::uint32_t number = 0;
  return get(event, &number) != OX_OK;
}

// For one more.
template <class Element>
void make_room(std::vector<Element>& list) {
  if (list.size() == list.capacity()) list.reserve(2 * list.size() + 16);
}

// 0 means no event, and 0xFFFFFFFF no report: they are left out.
bool is_send_id(Sequence sequence) {
  const auto id = static_cast<std::uint32_t>(sequence);
  return id != 0 && id != 0xFFFFFFFF;
}

}  // namespace

EventLog::EventLog(asio::io_context& loop, const Settings& settings, const std::string& directory)
    : loop_(loop), settings_(settings), store_(directory, settings.durability), timer_(loop) {}

bool EventLog::open(FaultSink faults) {
  if (!store_.open(std::move(faults))) return false;
  marks_ = store_.waits();
  given_ = committed_ = store_.last();
  const auto now = static_cast<std::uint32_t>(std::time(nullptr));
  for (auto& [name, mark] : marks_) {
    if (mark.seen != seen_now) continue;
    mark.seen = now;  // open when the manager died
    store_.put_wait(name, mark);
  }
  tidy(now);
  tidy_later();
  return true;
}

void EventLog::check() {
  store_.check([this](const std::string& fault) {
    asio::post(loop_, [this, fault] {
      log(Severity::error, "the event log is damaged: " + fault);
      if (scheduled_) flush();
      if (!store_.renew()) return;
      recent_.clear();
      recent_bytes_ = 0;
      given_ = committed_ = store_.last();
    });
  });
}

void EventLog::complete(evmsg* event, const std::string& sender) {
  const auto id = static_cast<std::uint32_t>(given_);
  require(oxeEvmsgSetSndId(event, id));
  if (is_absent(event, &oxeEvmsgGetSender)) require(oxeEvmsgSetSender(event, sender.c_str()));
  if (is_absent(event, &oxeEvmsgGetEventId)) require(oxeEvmsgSetEventId(event, id));
  if (is_absent(event, &oxeEvmsgGetCommName)) require(oxeEvmsgSetCommName(event, oxcGetMyComm()));
  if (is_absent(event, &oxeEvmsgGetOccurTime)) {
    require(oxeEvmsgSetOccurTime(event, static_cast<std::uint32_t>(std::time(nullptr))));
  }
}

// Either all of it happens or, when memory runs out, nothing but that a number is left out.
Sequence EventLog::submit(EventPtr event, const std::string& sender, Done done, bool listed) {
  do {
    ++given_;
  } while (!is_send_id(given_));
  complete(event.get(), sender);
  auto made = std::make_shared<LoggedEvent>();
  made->sequence = given_;
  made->trap = is_trap(event.get());
  made->body = encode_event(event.get());
  std::function<void(bool)> told = [done = std::move(done), made](bool safe) {
    static const Bytes nothing;
    done(safe ? OX_RESULT{OX_OK} : OX_RESULT{OX_EWRITE}, safe ? made->body : nothing);
  };
  make_room(fresh_);
  make_room(safe_);
  schedule();
  store_.put({made->sequence, static_cast<std::uint32_t>(std::time(nullptr)), listed, made->body});
  const Sequence sequence = made->sequence;
  fresh_.push_back(std::move(made));
  safe_.push_back(std::move(told));
  return sequence;
}

void EventLog::tell(std::uint32_t level, const std::string& summary, const std::string& detail, Done done) {
  if (!done) done = [](OX_RESULT, const Bytes&) {};
  (void)submit(own_event(level, summary, detail), own_name, std::move(done));
}

std::optional<Sequence> EventLog::sequence_of(std::uint32_t send_id) const {
  constexpr Sequence round = Sequence{1} << 32;
  const Sequence sequence = (given_ & ~(round - 1)) | send_id;
  if (sequence <= given_) return sequence;
  if (sequence < round) return {};
  return sequence - round;
}

// What readers have read ahead is read again.
void EventLog::forget_pages(Sequence sequence) {
  for (EventReader* reader : readers_) {
    if (reader->place < sequence) reader->page.clear();
  }
}

void EventLog::replace(const StoredEvent& event) {
  store_.put(event);
  forget_pages(event.sequence);
  if (const auto place = find_recent(event.sequence); place != recent_.end() && (*place)->sequence == event.sequence) {
    recent_bytes_ -= (*place)->body.size();
    *place = logged(event);
    recent_bytes_ += (*place)->body.size();
  }
  schedule();
}

void EventLog::unlist(StoredEvent event) {
  if (event.sequence < needed_from()) {
    store_.erase(event.sequence);
  } else {
    event.listed = false;
    store_.put(event);
  }
  schedule();
}

void EventLog::withdraw(Sequence sequence) {
  store_.erase(sequence);
  forget_pages(sequence);
  if (const auto place = find_recent(sequence); place != recent_.end() && (*place)->sequence == sequence) {
    recent_bytes_ -= (*place)->body.size();
    recent_.erase(place);
  }
  schedule();
}

void EventLog::set_mark(const std::string& name, const WaitMark& mark) {
  marks_[name] = mark;
  store_.put_wait(name, mark);
  schedule();
}

void EventLog::when_safe(std::function<void(bool)> done) {
  schedule();
  safe_.push_back(std::move(done));
}

// What the loop has taken from the clients in this turn is in its queue already, before this.
void EventLog::schedule() {
  if (scheduled_) return;
  asio::post(loop_, [this] {
    if (scheduled_) flush();
  });
  scheduled_ = true;
}

void EventLog::flush() {
  scheduled_ = false;
  const bool safe = store_.commit();
  if (!safe) given_ = std::max(committed_, store_.last());
  committed_ = given_;
  const auto fresh = std::exchange(fresh_, {});
  const auto waiting = std::exchange(safe_, {});
  if (safe) show(fresh);
  for (const auto& done : waiting) {
    try {
      done(safe);
    } catch (const std::bad_alloc&) {  // the others are to hear of it all the same
      log(Severity::error, "out of memory: a change of the event log is not answered for");
    }
  }
  if (!tidying_ && store_.bytes() > settings_.event_log_size) tidy(static_cast<std::uint32_t>(std::time(nullptr)));
}

// Without memory the readers find the events in the files, when they are woken by the next ones.
void EventLog::show(const std::vector<EventRef>& events) {
  try {
    for (const EventRef& event : events) publish(event);
  } catch (const std::bad_alloc&) {
    recent_.clear();
    recent_bytes_ = 0;
    late_ = true;
    log(Severity::error, "out of memory: events are shown late");
  }
}

void EventLog::publish(EventRef event) {
  for (auto entry = idle_.begin(); entry != idle_.end();) {
    EventReader& reader = **entry;
    if (reader.traps_only && !event->trap && !late_) {
      reader.place = event->sequence;
      ++entry;
    } else {
      reader.wake();
      entry = idle_.erase(entry);
    }
  }
  late_ = false;
  const std::size_t size = event->body.size();
  recent_.push_back(std::move(event));
  recent_bytes_ += size;
  trim_recent();
}

void EventLog::trim_recent() {
  while (!recent_.empty() && (recent_bytes_ > most_recent_bytes || recent_.front()->sequence <= store_.erased())) {
    recent_bytes_ -= recent_.front()->body.size();
    recent_.pop_front();
  }
}

std::deque<EventRef>::iterator EventLog::find_recent(Sequence sequence) {
  return std::lower_bound(recent_.begin(), recent_.end(), sequence,
                          [](const EventRef& event, Sequence wanted) { return event->sequence < wanted; });
}

void EventLog::add(EventReader& reader, Sequence place) {
  reader.place = place;
  reader.turn = ++last_turn_;
  readers_.insert(&reader);
  if (place < committed_) return reader.wake();
  idle_.insert(&reader);
}

void EventLog::remove(EventReader& reader) {
  readers_.erase(&reader);
  idle_.erase(&reader);
}

EventRef EventLog::next_after(EventReader& reader) {
  if (reader.place >= committed_) return nullptr;
  if (!recent_.empty() && reader.place + 1 >= recent_.front()->sequence) {
    reader.page.clear();
    const auto found = find_recent(reader.place + 1);
    return found == recent_.end() ? nullptr : *found;
  }
  if (reader.page.empty()) {
    std::vector<StoredEvent> page;
    reader.at_damage = store_.after(reader.place, page_events, page_bytes, page) != Outcome::done;
    for (StoredEvent& event : page) {
      if (event.sequence <= committed_) reader.page.push_back(logged(std::move(event)));
    }
  }
  if (reader.page.empty()) return nullptr;
  EventRef event = std::move(reader.page.front());
  reader.page.pop_front();
  return event;
}

EventLog::Read EventLog::read(EventReader& reader, Sequence limit, EventRef& event) {
  Sequence end = store_.erased();
  if (last() > limit && reader.place < last() - limit) end = std::max(end, last() - limit / 2);
  if (reader.place < end) {
    reader.place = end;
    reader.page.clear();
    return Read::lost;
  }
  while (EventRef found = next_after(reader)) {
    reader.place = found->sequence;
    if (reader.traps_only && !found->trap) continue;
    event = std::move(found);
    return Read::event;
  }
  if (std::exchange(reader.at_damage, false)) {
    reader.place = std::min(store_.past_damage(reader.place), committed_);
    return Read::lost;
  }
  idle_.insert(&reader);
  return Read::nothing;
}

// Everybody has read what comes before this.
Sequence EventLog::needed_from() const {
  Sequence place = given_;
  for (const EventReader* reader : readers_) place = std::min(place, reader->place);
  for (const auto& [name, mark] : marks_) place = std::min(place, mark.taken);
  return place + 1;
}

void EventLog::tidy(std::uint32_t now) {
  const std::uint64_t age = std::uint64_t{settings_.event_log_age} * 86400;
  const std::uint32_t oldest = now > age ? static_cast<std::uint32_t>(now - age) : 0;
  // A tenth more must go, so that not every event moves the end.
  const std::uint64_t size = settings_.event_log_size;
  std::erase_if(marks_, [&](const auto& entry) {
    const bool forgotten = entry.second.seen < oldest;
    if (forgotten) store_.erase_wait(entry.first);
    return forgotten;
  });
  excess_ = {store_.bytes() > size ? size - size / 10 : size, oldest, needed_from() - 1};
  if (!tidying_) tidy_step();
}

// What comes in between may need the unlisted events again, or have been read.
void EventLog::tidy_step() {
  excess_.unlisted_up_to = needed_from() - 1;
  tidying_ = store_.tidy(excess_, std::chrono::steady_clock::now() + tidy_time);
  tidying_ = store_.commit() && tidying_;
  trim_recent();
  if (!tidying_) return;
  asio::post(loop_, [this] {
    if (scheduled_) flush();  // a step's commit is its own
    tidy_step();
  });
}

void EventLog::tidy_later() {
  timer_.expires_after(tidy_interval);
  timer_.async_wait([this](const asio::error_code& error) {
    if (error) return;
    flush();
    tidy(static_cast<std::uint32_t>(std::time(nullptr)));
    tidy_later();
  });
}

}  // namespace ox::manager
