#include "manager/events/log.h"

#include <algorithm>
#include <asio/post.hpp>
#include <ctime>
#include <new>

#include <oxbase/oxc.h>

#include "manager/base/log.h"

namespace ox::manager {
namespace {

constexpr auto tidy_interval = std::chrono::minutes(1);
constexpr std::size_t most_kept = 1000;  // turns

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

// The manager's own have one share.
Origin origin_by_level(const evmsg* event, Origin origin) {
  const std::uint32_t type = number_of(event, &oxeEvmsgGetEventType);
  const bool is_severe = (type & OX_EVENT_LEVELLED) != 0 && (type & OX_EVENT_LEVEL) >= severe_level;
  return is_severe && origin < own_origin ? severe(origin) : origin;
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
    : loop_(loop), settings_(settings), store_(directory, settings.durability), timer_(loop) {
  store_.on_back([this](bool renewed) { go_on(renewed); });
}

bool EventLog::open(FaultSink faults) {
  if (!store_.open(std::move(faults))) return false;
  marks_ = store_.waits();
  go_on_from_store();
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

void EventLog::go_on_from_store() {
  given_ = std::max(given_, store_.last());
  readers_.begin_anew(given_);
}

// Events that came meanwhile have their numbers.
void EventLog::go_on(bool renewed) {
  store_.keep_changes(true);
  if (renewed) go_on_from_store();
  make_kept();
}

// Readers find its events in the store.
EventLog::Turn EventLog::take_turn() {
  scheduled_ = false;
  fresh_.clear();
  return {store_.take_kept(), std::exchange(safe_, {})};
}

// Where the disk takes long, and they become too many, the next one waits for it.
void EventLog::keep_turn() {
  Turn& kept = kept_.emplace_back();
  kept = take_turn();
  if (kept_.size() >= most_kept) (void)store_.database().connection();
}

// Turn by turn, in steps: they may have become many.
void EventLog::make_kept() {
  bool more = true;
  {
    const Pace::Step step(pace_);
    while (more && !store_.database().is_away() && Pace::Clock::now() < step.until()) more = make_turn();
  }
  if (store_.database().is_away()) return;
  if (more) return asio::post(loop_, [this] { make_kept(); });
  store_.keep_changes(false);
  readers_.begin_anew(given_);
  if (tidying_) return asio::post(loop_, [this] { tidy_step(); });
  tidy_if_full();
}

// The last one is that which has not ended yet: false.
bool EventLog::make_turn() {
  const bool last = kept_.empty();
  const Turn turn = last ? take_turn() : std::move(kept_.front());
  if (!last) kept_.pop_front();
  store_.make(turn.changes);
  answer(turn.safe, store_.commit());
  return !last;
}

void EventLog::check() {
  store_.check(loop_, [this] {
    if (scheduled_) flush();
    renew();
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
EventRef EventLog::submit(EventPtr event, const std::string& sender, Origin origin, Done done, bool listed) {
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
  origin = origin_by_level(event.get(), origin);
  store_.put({made->sequence, static_cast<std::uint32_t>(std::time(nullptr)), listed, made->body, origin});
  fresh_.push_back(made);
  safe_.push_back(std::move(told));
  return made;
}

void EventLog::tell(std::uint32_t level, const std::string& summary, const std::string& detail, Done done) {
  if (!done) done = [](OX_RESULT, const Bytes&) {};
  (void)submit(own_event(level, summary, detail), own_name, own_origin, std::move(done));
}

std::optional<Sequence> EventLog::sequence_of(std::uint32_t send_id) const {
  constexpr Sequence round = Sequence{1} << 32;
  const Sequence sequence = (given_ & ~(round - 1)) | send_id;
  if (sequence <= given_) return sequence;
  if (sequence < round) return {};
  return sequence - round;
}

void EventLog::replace(const StoredEvent& event) {
  store_.put(event);
  readers_.replaced(event);
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
  readers_.withdrawn(sequence);
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

// While the store is away everybody waits.
void EventLog::flush() {
  if (store_.is_away()) return keep_turn();
  scheduled_ = false;
  auto fresh = std::exchange(fresh_, {});
  const auto waiting = std::exchange(safe_, {});
  const bool safe = store_.commit();
  if (!safe) given_ = std::max(readers_.last(), store_.last());
  if (!safe) fresh.clear();
  readers_.show(fresh, given_);
  answer(waiting, safe);
  tidy_if_full();
}

void EventLog::tidy_if_full() {
  if (!tidying_ && store_.bytes() > settings_.event_log_size) tidy(static_cast<std::uint32_t>(std::time(nullptr)));
}

void EventLog::answer(const Waiting& waiting, bool safe) {
  for (const auto& done : waiting) {
    try {
      done(safe);
    } catch (const std::bad_alloc&) {  // the others are to hear of it all the same
      log(Severity::error, "out of memory: a change of the event log is not answered for");
    }
  }
}

// Everybody has read what comes before this.
Sequence EventLog::needed_from() const {
  Sequence place = std::min(given_, readers_.all_have_read());
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
    if (forgotten && forgotten_) forgotten_(entry.first);
    return forgotten;
  });
  excess_ = {store_.bytes() > size ? size - size / 10 : size, oldest, needed_from() - 1};
  if (!tidying_) tidy_step();
}

// What comes in between may need the unlisted events again, or have been read.
void EventLog::tidy_step() {
  if (store_.is_away()) return;
  const Pace::Step step(pace_);
  excess_.passed = needed_from() - 1;
  tidying_ = store_.tidy(excess_, step.until());
  tidying_ = store_.commit() && tidying_;
  readers_.tidied();
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
    tidy_later();
    flush();
    if (!store_.is_away()) tidy(static_cast<std::uint32_t>(std::time(nullptr)));
  });
}

}  // namespace ox::manager
