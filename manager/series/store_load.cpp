// What the database has of the entries, read when the manager starts.
#include <algorithm>

#include "manager/base/log.h"
#include "manager/series/keys.h"
#include "manager/series/store.h"

namespace ox::manager {
namespace {

using Tables = CollectedTables;

constexpr std::uint64_t low_bits(int bits) { return (std::uint64_t{1} << bits) - 1; }

}  // namespace

// A renewed file gets again what is known of the entries; at the start it is read, and the rounds that were under way
// end.
bool SeriesStore::load(bool) {
  if (loaded_) return write_again();
  entries_.clear();
  by_name_.clear();
  if (!load_entries() || !load_staged()) return false;
  loaded_ = true;
  end_open_rounds();
  tell_unbalanced();
  return true;
}

bool SeriesStore::write_again() {
  for (auto& [id, known] : entries_) {
    known.row_is_due = true;
    known.written_items = {};
    known.written_series = 1;
    touched_.push_back(id);
  }
  const bool safe = file_.database().commit(put());
  ended(safe);
  return safe;
}

bool SeriesStore::load_entries() {
  Query all(file_.database(), Tables::entries, "");
  const Outcome outcome = all.rows([&](const Row& row) {
    Entry read;
    read.id = row.word(0);
    read.name = row.text(1);
    read.owner = row.text(2);
    read.state = static_cast<State>(row.word(3));
    read.sealed_rounds = read.safe_rounds = row.word(4);
    read.last_due = static_cast<std::int64_t>(row.number(5));
    read.sealed = {row.number(6), row.number(7), row.number(8), row.number(9), 0, row.number(10)};
    read.row_is_due = false;
    last_entry_ = std::max(last_entry_, read.id);
    by_name_[read.name] = read.id;
    entries_[read.id] = std::move(read);
    return true;
  });
  if (outcome != Outcome::done || entries_.size() != file_.database().rows(Tables::entries)) return false;
  return std::all_of(entries_.begin(), entries_.end(), [this](auto& known) {
    Entry& read = known.second;
    if (read.state != State::open && read.state != State::closing) return true;
    const auto layout = std::make_shared<Layout>();
    if (!load_layout(read.id, *layout)) return false;
    for (std::size_t axis = 0; axis < axis_count; ++axis) {
      read.written_items[axis] = layout->items(static_cast<Axis>(axis)).size();
    }
    read.written_series = layout->all_series().size();
    read.cells = std::make_unique<OpenEntry>(layout, read.sealed_rounds, read.sealed);
    return true;
  });
}

// What was lost in between leaves its number free: it is made again under another text, which nobody sees.
bool SeriesStore::load_layout(EntryId id, Layout& layout) {
  bool sound = true;
  Query items(file_.database(), Tables::axes, "WHERE id >= ? AND id < ? ORDER BY id");
  const Outcome read = items.rows(
      [&](const Row& row) {
        const auto axis = static_cast<Axis>(row.number(0) >> 32 & 3);
        while (layout.items(axis).size() < (row.number(0) & low_bits(32))) {
          layout.add_lost(axis);
          sound = false;
        }
        (void)layout.item(axis, row.text(1));
        return true;
      },
      item_key(id, 0, 0), item_key(id + 1, 0, 0));
  Query series(file_.database(), Tables::cells, "WHERE id >= ? AND id < ? ORDER BY id");
  const Outcome all = series.rows(
      [&](const Row& row) {
        while (layout.all_series().size() < (row.number(0) & low_bits(number_bits))) {
          layout.add_lost_series();
          sound = false;
        }
        (void)layout.series({row.word(1), row.word(2), row.word(3)});
        return true;
      },
      series_key(id, 0), series_key(id + 1, 0));
  if (!sound) log(Severity::error, "of collected data some items of the axes are lost");
  return read == Outcome::done && all == Outcome::done;
}

bool SeriesStore::load_staged() {
  std::uint64_t rows = 0;
  Query all(file_.database(), Tables::staged, "ORDER BY id");
  const Outcome outcome = all.rows([&](const Row& row) {
    ++rows;
    last_staged_ = std::max(last_staged_, row.number(0));
    Entry* const staged = entry(row.word(1));
    if (staged != nullptr && staged->cells) staged->cells->apply(row.bytes(3));
    return true;
  });
  return outcome == Outcome::done && rows == file_.database().rows(Tables::staged);
}

void SeriesStore::end_open_rounds() {
  for (auto& [id, known] : entries_) {
    if (!known.cells) continue;
    known.safe_rounds = known.cells->ended_rounds();
    for (std::uint32_t round = known.safe_rounds; round < known.cells->next_round(); ++round) {
      touched_.push_back(id);
      file_.schedule();
      known.cells->end_round(round, status_word(Gap::manager_down));
    }
  }
}

void SeriesStore::tell_unbalanced() const {
  for (const auto& [id, known] : entries_) {
    const Counts books = counts(id);
    if (books.balanced() && books.lost == 0) continue;
    file_.database().tell("data entry " + known.name + ": " + std::to_string(books.due) + " values were due, " +
                          std::to_string(books.stored) + " are stored, " + std::to_string(books.gaps) +
                          " are gaps with a reason, " + std::to_string(books.lost) + " are lost");
  }
}

}  // namespace ox::manager
