// The numbers are written when an erasure may have taken the last event, or moved the beginning: else the events tell
// the last one themselves.
#include "manager/events/store.h"

#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <utility>

#include "manager/base/paths.h"
#include "manager/storage/readable.h"

namespace ox::manager {
namespace {

constexpr std::uint64_t lost_numbers = 1u << 24;  // more than were given, when nothing tells how many

constexpr std::array<std::string_view, 4> event_columns{"sequence", "arrived", "listed", "body"};
constexpr std::array<std::string_view, 4> wait_columns{"id", "name", "taken", "seen"};
constexpr std::array<std::string_view, 3> number_columns{"id", "last", "erased"};
constexpr std::array all_tables{Table{"events", event_columns}, Table{"waits", wait_columns},
                                Table{"numbers", number_columns}};
enum : std::size_t { events_table, waits_table, numbers_table };
constexpr int maker_shift = 32;  // of a wait's maker, above when it was seen

Origin origin_in(std::uint64_t listed) {
  const auto origin = static_cast<Origin>(listed >> origin_shift);
  return kind_of(origin) < event_shares.size() ? origin : 0;
}

StoredEvent event_of(const Row& row) {
  const auto body = row.bytes(3);
  const std::uint64_t listed = row.number(2);
  return {row.number(0), row.word(1), (listed & kept_bits) == is_listed, Bytes(body.begin(), body.end()),
          origin_in(listed)};
}

}  // namespace

std::string check_events(Connection& connection, std::string& told) {
  const EventStore::Events found = EventStore::look_through(connection);
  for (std::size_t kind = 0; kind < event_shares.size(); ++kind) {
    if (kind != 0) told += ", ";
    told += std::string(event_shares[kind].name) + ' ' + std::to_string(found.shares.bytes(kind)) + " bytes";
  }
  if (found.marks != 0) told += "; " + std::to_string(found.marks) + " of them are marks of dropped events";
  return {};
}

std::span<const Table> EventStore::tables() { return all_tables; }

EventStore::EventStore(const std::string& directory, Durability durability)
    : database_(join(directory, "events.db"), all_tables, durability),
      reserve_(join(directory, "events.numbers")),
      after_(database_, events_table, "WHERE sequence > ? ORDER BY sequence"),
      before_(database_, events_table, "WHERE sequence < ? ORDER BY sequence DESC"),
      get_(database_, events_table, "WHERE sequence = ?"),
      all_waits_(database_, waits_table, ""),
      numbers_(database_, numbers_table, "") {
  database_.on_back([this] { on_back_(false); });
}

bool EventStore::open(FaultSink faults) {
  const Outcome opened = database_.open(std::move(faults));
  if (opened == Outcome::refused) return false;
  const auto bound = reserve_.load();
  if (opened != Outcome::done || !load(look_through(database_.connection()))) {
    bool usable = false;
    renew([&usable](bool renewed) { usable = renewed; });
    return usable;
  }
  if (last_ != 0 || bound == 0u) return true;
  database_.tell_damaged("it has been lost, with all events");
  return go_on_from(bound);
}

void EventStore::renew(const std::function<void(bool)>& done) {
  if (database_.rests()) return;
  close_snapshots();
  const auto events = std::make_shared<Events>();
  const auto go_on = [this, done, events](bool renewed) {
    const bool loaded = renewed && load(std::move(*events)) && go_on_from(reserve_.load());
    done(loaded);
  };
  database_.renew(go_on, [events](Connection& made) {
    *events = look_through(made);
    return true;
  });
}

void EventStore::close_snapshots() {
  spare_.reset();
  for (const auto& known : std::exchange(snapshots_, {})) {
    if (const auto snapshot = known.lock()) snapshot->close();
  }
}

std::shared_ptr<EventSnapshot> EventStore::snapshot() {
  std::shared_ptr<EventSnapshot> kept = spare_.use_count() == 1 ? spare_ : nullptr;
  if (!kept) {
    kept = std::make_shared<EventSnapshot>(database_, events_table, begun_snapshots_);
    std::erase_if(snapshots_, [](const auto& known) { return known.expired(); });
    snapshots_.push_back(kept);
    if (!spare_) spare_ = kept;
  }
  const std::shared_ptr<EventSnapshot> lent(kept.get(), [kept](EventSnapshot* snapshot) { snapshot->end(); });
  if (lent->begin() == Outcome::done) return lent;
  database_.tell("cannot be read: " + lent->fault());
  return nullptr;
}

bool EventStore::skip_given() {
  const auto bound = reserve_.load();
  return go_on_from(bound == 0u ? std::nullopt : bound);
}

// Behind all numbers that may have been given.
bool EventStore::go_on_from(std::optional<Sequence> bound) {
  last_ = std::max(last_, bound.value_or(last_ + lost_numbers));
  numbers_changed_ = true;
  return commit();
}

bool EventStore::load(Events events) {
  last_ = events.last;
  shares_ = std::move(events.shares);
  planned_ = false;
  unlisted_ = std::move(events.unlisted);
  const bool sound = events.sound && events.rows == database_.rows(events_table) && load_waits() && load_numbers();
  for (const auto& [name, mark] : waits_) last_ = std::max(last_, mark.taken);
  committed_ = {last_, erased_};
  return sound;
}

EventStore::Events EventStore::look_through(Connection& connection) {
  Events found;
  Statement sizes(connection, "SELECT sequence, listed, length(body) FROM events ORDER BY sequence");
  const Outcome outcome = sizes.begin().rows([&found](const Row& row) {
    found.last = std::max(found.last, row.number(0));
    const std::uint64_t kept = row.number(1) & kept_bits;
    if (kept != is_listed) found.unlisted.insert(row.number(0));
    if (kept == is_dropped) ++found.marks;
    if (kept != is_dropped) found.shares.add(origin_in(row.number(1)), row.number(0), row.number(2));
    if (++found.rows % 1024 == 0) found.shares.commit();
    return true;
  });
  found.shares.commit();
  found.sound = outcome == Outcome::done;
  return found;
}

bool EventStore::load_waits() {
  waits_.clear();
  wait_keys_.clear();
  const Outcome outcome = all_waits_.rows([&](const Row& row) {
    last_wait_key_ = std::max(last_wait_key_, row.number(0));
    wait_keys_[row.text(1)] = row.number(0);
    waits_[row.text(1)] = {row.number(2), row.word(3), static_cast<std::uint32_t>(row.number(3) >> maker_shift)};
    return true;
  });
  return outcome == Outcome::done && waits_.size() == database_.rows(waits_table);
}

bool EventStore::load_numbers() {
  std::uint64_t rows = 0;
  erased_ = 0;
  const Outcome outcome = numbers_.rows([&](const Row& row) {
    last_ = std::max(last_, row.number(1));
    erased_ = row.number(2);
    ++rows;
    return true;
  });
  return outcome == Outcome::done && rows == database_.rows(numbers_table);
}

void EventStore::put(const StoredEvent& event) {
  if (is_away()) return later_.push_back([this, event] { put(event); });
  if (event.sequence > last_) return put_row(event);
  change([&] {
    forget(event.sequence);
    put_row(event);
  });
}

void EventStore::put_row(const StoredEvent& event) {
  list(event.sequence, event.listed);
  shares_.add(event.origin, event.sequence, event.body.size());
  const std::uint64_t listed = (event.listed ? is_listed : not_listed) | std::uint64_t{event.origin} << origin_shift;
  database_.put(events_table, event.sequence, std::uint64_t{event.arrived}, listed, event.body);
  last_ = std::max(last_, event.sequence);
}

void EventStore::keep_changes(bool on) {
  if (std::exchange(keeps_, on) != on) database_.hold(on);
}

void EventStore::make(const Changes& changes) {
  const bool kept = std::exchange(keeps_, false);
  try {
    change([&changes] {
      for (const auto& one : changes) one();
    });
  } catch (const std::bad_alloc&) {  // the commit refuses them
  }
  keeps_ = kept;
}

std::optional<EventStore::Kept> EventStore::kept(Sequence sequence) {
  std::optional<Kept> found;
  (void)kept_.begin().with(sequence).rows([&](const Row& row) {
    found = {row.word(0), row.number(1), row.number(2)};
    return false;
  });
  return found;
}

// Its bytes count for nobody any more.
void EventStore::forget(Sequence sequence) {
  const auto row = kept(sequence);
  if (row) shares_.remove(origin_in(row->listed), sequence, row->size);
}

void EventStore::list(Sequence sequence, bool listed) {
  if (listed == !unlisted_.contains(sequence)) return;
  listed_before_.emplace_back(sequence, !listed);
  if (listed) {
    unlisted_.erase(sequence);
  } else {
    unlisted_.insert(sequence);
  }
}

void EventStore::erase(Sequence sequence) {
  if (is_away()) return later_.push_back([this, sequence] { erase(sequence); });
  change([&] {
    forget(sequence);
    database_.erase(events_table, sequence);
    numbers_changed_ = numbers_changed_ || sequence >= last_;
    list(sequence, true);
  });
}

void EventStore::put_wait(const std::string& name, const WaitMark& mark) {
  if (is_away()) return later_.push_back([this, name, mark] { put_wait(name, mark); });
  const auto [key, fresh] = wait_keys_.try_emplace(name, last_wait_key_ + 1);
  if (fresh) ++last_wait_key_;
  waits_changed_ = true;
  database_.put(waits_table, key->second, name, mark.taken, std::uint64_t{mark.maker} << maker_shift | mark.seen);
  waits_[name] = mark;
}

void EventStore::erase_wait(const std::string& name) {
  if (is_away()) return later_.push_back([this, name] { erase_wait(name); });
  const auto key = wait_keys_.find(name);
  if (key == wait_keys_.end()) return;
  waits_changed_ = true;
  database_.erase(waits_table, key->second);
  wait_keys_.erase(key);
  waits_.erase(name);
}

bool EventStore::commit() {
  const bool safe = database_.commit(prepare());
  if (safe) {
    committed_ = {last_, erased_};
    shares_.commit();
  } else {
    take_back();
  }
  listed_before_.clear();
  whole_ = true;
  numbers_changed_ = waits_changed_ = false;
  if (!safe && database_.is_damaged()) renew(on_back_);
  return safe;
}

bool EventStore::prepare() {
  try {
    if (numbers_changed_) database_.put(numbers_table, 1, last_, erased_);
    return whole_ && reserve_.cover(last_);
  } catch (const std::bad_alloc&) {  // as if the disk had refused
    return false;
  }
}

void EventStore::take_back() {
  last_ = committed_.last;
  erased_ = committed_.erased;
  shares_.take_back();
  const auto undo = std::exchange(listed_before_, {});
  for (auto entry = undo.rbegin(); entry != undo.rend(); ++entry) list(entry->first, entry->second);
  if (waits_changed_) (void)load_waits();
}

Outcome EventStore::page_of(Query& query, Sequence from, std::size_t count, std::size_t bytes,
                            std::vector<StoredEvent>& page) {
  std::size_t size = 0;
  page.clear();
  return query.rows(
      [&](const Row& row) {
        page.push_back(event_of(row));
        size += page.back().body.size();
        return page.size() < count && size <= bytes;
      },
      from);
}

Outcome EventStore::after(Sequence sequence, std::size_t count, std::size_t bytes, std::vector<StoredEvent>& page) {
  return page_of(after_, sequence, count, bytes, page);
}

Outcome EventStore::before(Sequence sequence, std::size_t count, std::size_t bytes, std::vector<StoredEvent>& page) {
  return page_of(before_, std::min(sequence, highest_sequence), count, bytes, page);
}

Outcome EventStore::get(Sequence sequence, std::optional<StoredEvent>& event) {
  event.reset();
  return get_.rows(
      [&](const Row& row) {
        if ((row.number(2) & kept_bits) != is_dropped) event = event_of(row);
        return false;
      },
      sequence);
}

Sequence EventStore::past_damage(Sequence sequence) {
  const auto reads = [this](Sequence place) {
    return after_.rows([](const Row&) { return false; }, place) == Outcome::done;
  };
  return std::min(next_readable(sequence, reads).value_or(last_), last_);
}

bool EventStore::erase_aged(const Excess& excess) {
  Sequence oldest = 0;
  (void)oldest_.begin().rows([&](const Row& row) {
    if (row.word(1) < excess.arrived_before) oldest = row.number(0);
    return false;
  });
  if (oldest == 0) return false;
  erase(oldest);
  erased_ = std::max(erased_, oldest);
  return numbers_changed_ = true;
}

bool EventStore::drop_one(const Excess& excess) {
  if (!planned_ && shares_.bytes() > excess.bytes) {
    shares_.plan(excess.bytes);
    planned_ = true;
  }
  const auto place = shares_.next();
  if (!place) return false;
  change([&] { drop(*place, place->sequence > excess.passed); });
  return true;
}

void EventStore::drop(const EventShares::Place& place, bool waited_for) {
  const auto row = kept(place.sequence);
  shares_.remove(place.origin, place.sequence, row ? row->size : 0, true);
  numbers_changed_ = numbers_changed_ || place.sequence >= last_;
  if (waited_for && row) return leave_mark(place, row->arrived);
  database_.erase(events_table, place.sequence);
  list(place.sequence, true);
}

// Of marks with no event between them the last one tells enough.
void EventStore::leave_mark(const EventShares::Place& place, std::uint32_t arrived) {
  const auto before = mark_beside(last_before_, place.sequence);
  const auto behind = mark_beside(next_, place.sequence);
  if (before) {
    database_.erase(events_table, *before);
    list(*before, true);
  }
  list(place.sequence, behind.has_value());
  if (behind) return database_.erase(events_table, place.sequence);
  const std::uint64_t listed = is_dropped | std::uint64_t{place.origin} << origin_shift;
  database_.put(events_table, place.sequence, std::uint64_t{arrived}, listed, Bytes());
}

std::optional<Sequence> EventStore::mark_beside(Statement& neighbour, Sequence sequence) {
  std::optional<Sequence> mark;
  (void)neighbour.begin().with(sequence).rows([&](const Row& row) {
    if ((row.number(1) & kept_bits) == is_dropped) mark = row.number(0);
    return false;
  });
  return mark;
}

bool EventStore::erase_passed(const Excess& excess) {
  if (unlisted_.empty() || *unlisted_.begin() > excess.passed) return false;
  erase(*unlisted_.begin());
  return true;
}

bool EventStore::tidy(const Excess& excess, std::chrono::steady_clock::time_point until) {
  bool aged = true;
  while (std::chrono::steady_clock::now() < until) {
    if (aged && (aged = erase_aged(excess))) continue;
    if (drop_one(excess) || erase_passed(excess)) continue;
    return planned_ = false;
  }
  return true;
}

}  // namespace ox::manager
