#include "manager/series/store.h"

#include <algorithm>
#include <new>
#include <utility>

#include "manager/base/log.h"
#include "manager/series/items.h"
#include "manager/series/keys.h"

namespace ox::manager {
namespace {

using Tables = CollectedTables;

constexpr std::size_t most_of_value = 0xFFFF;
// Of cells that the disk has not taken, before no more rounds begin.
constexpr std::size_t most_refused = 16 << 20;

}  // namespace

SeriesStore::SeriesStore(CollectedFile& file)
    : file_(file),
      chunk_query_(file.database(), Tables::chunks, "WHERE id >= ? AND id < ? ORDER BY id"),
      block_query_(file.database(), Tables::blocks, "WHERE id = ?"),
      gap_query_(file.database(), Tables::gaps, "WHERE id >= ? AND id < ? ORDER BY id") {
  file.add(*this);
}

const SeriesStore::Entry* SeriesStore::entry(EntryId id) const {
  const auto found = entries_.find(id);
  return found != entries_.end() ? &found->second : nullptr;
}

SeriesStore::Entry* SeriesStore::entry(EntryId id) { return const_cast<Entry*>(std::as_const(*this).entry(id)); }

OpenEntry* SeriesStore::filled(EntryId id) {
  Entry* const found = entry(id);
  const bool taking = found != nullptr && (found->state == State::open || found->state == State::copying);
  return taking ? found->cells.get() : nullptr;
}

// What is about to change is written at the end of the turn.
OpenEntry* SeriesStore::touch(EntryId id) {
  OpenEntry* const cells = filled(id);
  if (cells != nullptr) changed(id);
  return cells;
}

// Nobody is told of a round, and reads it, before its end is safe.
OpenEntry* SeriesStore::touch_cells(EntryId id) {
  OpenEntry* const cells = filled(id);
  if (cells == nullptr) return nullptr;
  note_touched(id);
  file_.schedule_soon(cells->laid_out().size());
  return cells;
}

void SeriesStore::changed(EntryId id) {
  note_touched(id);
  file_.schedule();
}

void SeriesStore::note_touched(EntryId id) {
  if (touched_.empty() || touched_.back() != id) touched_.push_back(id);
}

EntryId SeriesStore::make(const std::string& name, const std::string& owner) {
  const EntryId id = last_entry_ + 1;
  Entry made;
  made.id = id;
  made.name = name;
  made.owner = owner;
  made.cells = std::make_unique<OpenEntry>(std::make_shared<Layout>(), 0, Counts{});
  made.written_series = 1;  // that of the rounds is in every entry
  entries_.emplace(id, std::move(made));
  by_name_[name] = last_entry_ = id;
  (void)touch(id);
  return id;
}

EntryId SeriesStore::make_copy(const std::string& name, const Layout& layout) {
  const EntryId id = make(name, "");
  Entry& made = *entry(id);
  made.state = State::copying;
  Layout& own = made.cells->layout();
  for (std::size_t axis = 0; axis < axis_count; ++axis) {
    for (const std::string& text : layout.items(static_cast<Axis>(axis))) (void)own.item(static_cast<Axis>(axis), text);
  }
  for (const SeriesKey& key : layout.all_series()) (void)own.series(key);
  return id;
}

bool SeriesStore::put_copied(EntryId id, std::uint32_t round, std::uint32_t series, const Cell& cell) {
  OpenEntry* const cells = touch(id);
  return cells != nullptr && cells->put(round, series, cell);
}

void SeriesStore::finish_copy(EntryId id) {
  if (touch(id) == nullptr) return;
  entry(id)->state = State::open;
  close(id);
}

bool SeriesStore::has_room(EntryId id) const {
  const Entry* const kept = entry(id);
  return kept == nullptr || !kept->cells || !kept->cells->full();
}

const Layout* SeriesStore::layout(EntryId id) const {
  const Entry* const kept = entry(id);
  return kept != nullptr && kept->cells ? kept->cells->shared_layout().get() : nullptr;
}

EntryId SeriesStore::find(std::string_view name) const {
  const auto found = by_name_.find(name);
  return found != by_name_.end() ? found->second : 0;
}

void SeriesStore::close(EntryId id) {
  OpenEntry* const cells = touch(id);
  if (cells == nullptr) return;
  for (std::uint32_t round = cells->ended_rounds(); round < cells->next_round(); ++round) {
    cells->end_round(round, status_word(Gap::overrun));
  }
  Entry& closed = *entry(id);
  const std::uint64_t header = header_size(cells->layout(), cells->next_round());
  cells->add_bytes(header);
  closed.books.counts.bytes += header;
  closed.final_rounds = cells->next_round();
  closed.state = State::closing;
  closed.row_is_due = true;
}

bool SeriesStore::has(EntryId id) const {
  const Entry* const found = entry(id);
  return found != nullptr && found->state != State::removed;
}

bool SeriesStore::is_open(EntryId id) const {
  const Entry* const found = entry(id);
  return found != nullptr && found->state == State::open;
}

std::string SeriesStore::owner(EntryId id) const {
  const Entry* const found = entry(id);
  return found != nullptr ? found->owner : std::string();
}

std::string SeriesStore::name(EntryId id) const {
  const Entry* const found = entry(id);
  return found != nullptr ? found->name : std::string();
}

Counts SeriesStore::counts(EntryId id) const {
  const Entry* const found = entry(id);
  if (found == nullptr) return {};
  Counts counts = found->cells ? found->cells->counts() : found->books.counts;
  counts.lost = std::max(counts.lost, found->books.counts.lost);
  if (found->state == State::open) counts.bytes += header_size(found->cells->layout(), found->cells->next_round());
  return counts;
}

std::uint32_t SeriesStore::item(EntryId id, Axis axis, std::string_view text) {
  OpenEntry* const cells = touch_cells(id);
  return cells != nullptr ? cells->layout().item(axis, text) : 0;
}

std::uint32_t SeriesStore::series(EntryId id, const SeriesKey& key) {
  OpenEntry* const cells = touch_cells(id);
  return cells != nullptr ? cells->layout().series(key) : 0;
}

std::uint32_t SeriesStore::begin_round(EntryId id, std::int64_t due) {
  OpenEntry* const cells = touch_cells(id);
  if (cells == nullptr || refused_ > most_refused || !make_way(*entry(id))) return no_round;
  return cells->begin_round(due);
}

void SeriesStore::expect(EntryId id, std::uint32_t round, std::uint32_t values) {
  if (OpenEntry* const cells = touch_cells(id)) cells->expect(round, values);
}

std::uint32_t SeriesStore::add_reading(EntryId id, std::uint32_t round, std::uint32_t component, std::int64_t read_at,
                                       std::optional<std::uint32_t> uptime) {
  OpenEntry* const cells = touch_cells(id);
  return cells != nullptr ? cells->add_reading(round, component, read_at, uptime) : 0;
}

bool SeriesStore::put(EntryId id, std::uint32_t round, std::uint32_t series, std::uint32_t reading, std::uint32_t type,
                      std::span<const std::byte> value, std::uint32_t status) {
  if (value.size() > most_of_value) return put_gap(id, round, series, Gap::too_long);
  OpenEntry* const cells = touch_cells(id);
  if (cells == nullptr) return false;
  Cell cell = Cell::of(type, value);
  cell.reading = reading;
  cell.status = status;
  return cells->put(round, series, cell);
}

bool SeriesStore::put_gap(EntryId id, std::uint32_t round, std::uint32_t series, Gap gap, std::uint32_t code) {
  OpenEntry* const cells = touch_cells(id);
  return cells != nullptr && cells->put(round, series, {.status = status_word(gap, code)});
}

void SeriesStore::end_round(EntryId id, std::uint32_t round, Gap rest, std::uint32_t code) {
  if (OpenEntry* const cells = touch(id)) cells->end_round(round, status_word(rest, code));
}

void SeriesStore::missed(EntryId id, std::int64_t from, std::int64_t to, std::uint64_t rounds, std::uint64_t values,
                         Gap gap, std::uint32_t code) {
  if (OpenEntry* const cells = touch(id)) cells->add_missed({0, from, to, rounds, values, status_word(gap, code)});
}

std::int64_t SeriesStore::last_due(EntryId id) const {
  const Entry* const found = entry(id);
  if (found == nullptr) return 0;
  return found->cells && found->cells->last_due() != 0 ? found->cells->last_due() : found->books.last_due;
}

void SeriesStore::when_safe(Done done) {
  waiting_.push_back(std::move(done));
  file_.schedule();
}

// ---- Writing -------------------------------------------------------------------------------------------------------

bool SeriesStore::put() {
  std::sort(touched_.begin(), touched_.end());
  touched_.erase(std::unique(touched_.begin(), touched_.end()), touched_.end());
  for (const EntryId id : touched_) {
    Entry& changed = entries_.at(id);
    if (changed.row_is_due) put_entry_row(file_.database(), changed, changed.books);
    if (!changed.cells) continue;
    put_layout(changed);
    put_staged(changed);
  }
  seal_on();
  return true;
}

void put_entry_row(Database& database, const KeptEntry& entry, const Books& books) {
  const Counts& counts = books.counts;
  database.put(CollectedTables::entries, entry.id, std::string_view(entry.name), std::string_view(entry.owner),
               static_cast<std::uint64_t>(entry.state), std::uint64_t{books.rounds},
               static_cast<std::uint64_t>(books.last_due), counts.due, counts.stored, counts.gaps, counts.bytes,
               counts.lost);
}

void SeriesStore::put_layout(Entry& changed) {
  const Layout& layout = changed.cells->layout();
  for (std::size_t axis = 0; axis < axis_count; ++axis) {
    const auto& items = layout.items(static_cast<Axis>(axis));
    for (std::size_t i = changed.written_items[axis]; i < items.size(); ++i) {
      file_.database().put(Tables::axes, item_key(changed.id, axis, i), std::string_view(items[i]));
    }
    changed.put_items[axis] = items.size();
  }
  const auto& all = layout.all_series();
  for (std::size_t i = changed.written_series; i < all.size(); ++i) {
    file_.database().put(Tables::cells, series_key(changed.id, i), std::uint64_t{all[i].component},
                         std::uint64_t{all[i].amib}, std::uint64_t{all[i].item});
  }
  changed.put_series = all.size();
}

void SeriesStore::put_staged(Entry& changed) {
  const Bytes& bytes = changed.cells->laid_out();
  if (bytes.empty()) return;
  file_.database().put(Tables::staged, last_staged_ + 1, std::uint64_t{changed.id},
                       std::uint64_t{changed.cells->filling().number}, std::span<const std::byte>(bytes));
  changed.put_staged = ++last_staged_;
}

void SeriesStore::ended(bool safe) {
  sealed(safe);
  refused_ = 0;
  if (!safe) {  // all of it is put again
    for (const EntryId id : touched_) {
      if (const OpenEntry* const cells = filled(id)) refused_ += cells->laid_out().size();
    }
    return;
  }
  for (const EntryId id : touched_) {
    if (entry(id) == nullptr) continue;
    Entry& changed = entries_.at(id);
    changed.row_is_due = false;
    if (!changed.cells) continue;
    changed.written_items = changed.put_items;
    changed.written_series = changed.put_series;
    if (!changed.cells->laid_out().empty())
      changed.staged.emplace_back(changed.put_staged, changed.cells->filling().number);
    changed.cells->clear_laid_out();
    changed.safe_rounds = std::min(changed.cells->ended_rounds(), changed.final_rounds);
  }
  const auto safe_now = std::exchange(touched_, {});
  news_.insert(news_.end(), safe_now.begin(), safe_now.end());
  for (const EntryId id : safe_now) {
    if (Entry* const kept = entry(id)) go_on_closing(*kept);
  }
}

void SeriesStore::answer(bool safe) {
  for (const EntryId id : std::exchange(news_, {})) {
    if (on_news_) on_news_(id);
  }
  for (const Done& done : std::exchange(waiting_, {})) {
    try {
      done(safe ? OX_RESULT{OX_OK} : OX_RESULT{OX_EWRITE});
    } catch (const std::bad_alloc&) {  // the others are to hear of it all the same
      log(Severity::error, "out of memory: somebody does not hear that collected values are safe");
    }
  }
}

}  // namespace ox::manager
