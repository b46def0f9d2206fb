#include "manager/series/store.h"

#include <algorithm>
#include <new>
#include <utility>

#include "manager/base/log.h"
#include "manager/series/keys.h"

namespace ox::manager {
namespace {

using Tables = CollectedTables;

constexpr std::size_t most_of_value = 0xFFFF;

}  // namespace

SeriesStore::SeriesStore(CollectedFile& file) : file_(file) { file.add(*this); }

const SeriesStore::Entry* SeriesStore::entry(EntryId id) const {
  const auto found = entries_.find(id);
  return found != entries_.end() ? &found->second : nullptr;
}

SeriesStore::Entry* SeriesStore::entry(EntryId id) { return const_cast<Entry*>(std::as_const(*this).entry(id)); }

OpenEntry* SeriesStore::filled(EntryId id) {
  Entry* const found = entry(id);
  return found != nullptr && found->state == State::open ? found->cells.get() : nullptr;
}

// What is about to change is written at the end of the turn.
OpenEntry* SeriesStore::touch(EntryId id) {
  OpenEntry* const cells = filled(id);
  if (cells == nullptr) return nullptr;
  if (touched_.empty() || touched_.back() != id) touched_.push_back(id);
  file_.schedule();
  return cells;
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

EntryId SeriesStore::find(std::string_view name) const {
  const auto found = by_name_.find(name);
  return found != by_name_.end() ? found->second : 0;
}

void SeriesStore::close(EntryId id) {
  if (touch(id) == nullptr) return;
  Entry& closed = *entry(id);
  closed.state = State::closing;
  closed.row_is_due = true;
}

bool SeriesStore::is_open(EntryId id) const {
  const Entry* const found = entry(id);
  return found != nullptr && found->state == State::open;
}

std::string SeriesStore::owner(EntryId id) const {
  const Entry* const found = entry(id);
  return found != nullptr ? found->owner : std::string();
}

Counts SeriesStore::counts(EntryId id) const {
  const Entry* const found = entry(id);
  if (found == nullptr) return {};
  return found->cells ? found->cells->counts() : found->sealed;
}

std::uint32_t SeriesStore::item(EntryId id, Axis axis, std::string_view text) {
  OpenEntry* const cells = touch(id);
  return cells != nullptr ? cells->layout().item(axis, text) : 0;
}

std::uint32_t SeriesStore::series(EntryId id, const SeriesKey& key) {
  OpenEntry* const cells = touch(id);
  return cells != nullptr ? cells->layout().series(key) : 0;
}

std::uint32_t SeriesStore::begin_round(EntryId id, std::int64_t due) {
  OpenEntry* const cells = touch(id);
  return cells != nullptr ? cells->begin_round(due) : 0;
}

void SeriesStore::expect(EntryId id, std::uint32_t round, std::uint32_t values) {
  if (OpenEntry* const cells = touch(id)) cells->expect(round, values);
}

std::uint32_t SeriesStore::add_reading(EntryId id, std::uint32_t round, std::uint32_t component, std::int64_t read_at,
                                       std::optional<std::uint32_t> uptime) {
  OpenEntry* const cells = touch(id);
  return cells != nullptr ? cells->add_reading(round, component, read_at, uptime) : 0;
}

bool SeriesStore::put(EntryId id, std::uint32_t round, std::uint32_t series, std::uint32_t reading, std::uint32_t type,
                      std::span<const std::byte> value, std::uint32_t status) {
  if (value.size() > most_of_value) return put_gap(id, round, series, Gap::too_long);
  OpenEntry* const cells = touch(id);
  if (cells == nullptr) return false;
  Cell cell = Cell::of(type, value);
  cell.reading = reading;
  cell.status = status;
  return cells->put(round, series, cell);
}

bool SeriesStore::put_gap(EntryId id, std::uint32_t round, std::uint32_t series, Gap gap, std::uint32_t code) {
  OpenEntry* const cells = touch(id);
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
  return found->cells && found->cells->last_due() != 0 ? found->cells->last_due() : found->last_due;
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
    if (changed.row_is_due) put_row(changed);
    if (!changed.cells) continue;
    put_layout(changed);
    put_staged(changed);
  }
  return true;
}

void SeriesStore::put_row(const Entry& changed) {
  const Counts& sealed = changed.sealed;
  file_.database().put(Tables::entries, changed.id, std::string_view(changed.name), std::string_view(changed.owner),
                       static_cast<std::uint64_t>(changed.state), std::uint64_t{changed.sealed_rounds},
                       static_cast<std::uint64_t>(changed.last_due), sealed.due, sealed.stored, sealed.gaps,
                       sealed.bytes, changed.cells ? changed.cells->counts().lost : sealed.lost);
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
  changed.staged = bytes.size();
  if (bytes.empty()) return;
  file_.database().put(Tables::staged, last_staged_ + 1, std::uint64_t{changed.id},
                       std::uint64_t{changed.cells->filling().number}, std::span<const std::byte>(bytes));
  ++last_staged_;
}

void SeriesStore::ended(bool safe) {
  if (!safe) return;  // all of it is put again
  for (const EntryId id : touched_) {
    Entry& changed = entries_.at(id);
    changed.row_is_due = false;
    if (!changed.cells) continue;
    changed.written_items = changed.put_items;
    changed.written_series = changed.put_series;
    changed.cells->clear_laid_out();
    changed.safe_rounds = changed.cells->ended_rounds();
  }
  touched_.clear();
}

void SeriesStore::answer(bool safe) {
  for (const Done& done : std::exchange(waiting_, {})) {
    try {
      done(safe ? OX_RESULT{OX_OK} : OX_RESULT{OX_EWRITE});
    } catch (const std::bad_alloc&) {  // the others are to hear of it all the same
      log(Severity::error, "out of memory: somebody does not hear that collected values are safe");
    }
  }
}

}  // namespace ox::manager
