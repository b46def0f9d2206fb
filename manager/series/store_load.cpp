// What the database has of the entries, read when the manager starts.
#include <algorithm>

#include "manager/base/log.h"
#include "manager/series/keys.h"
#include "manager/series/store.h"

namespace ox::manager {
namespace {

using Tables = CollectedTables;

constexpr std::uint64_t low_bits(int bits) { return (std::uint64_t{1} << bits) - 1; }

// What the database has of the layout of an entry that is at work.
struct Written {
  EntryId id = 0;
  std::array<std::size_t, axis_count> items{};
  std::size_t series = 0;
};

// Finds what is lost of blocks, once: from then on a chunk has what is left of it. False when it does not read.
bool find_lost_cells(Connection& made, RenewalLosses& losses) {
  struct Chunk {
    std::uint64_t id, chunk, series, left, bytes;
  };
  std::vector<Chunk> chunks;
  Statement all(made,
                "SELECT id, chunk, series, cells, bytes, (SELECT coalesce(sum(cells), 0) FROM blocks "
                "WHERE blocks.id >= chunk << 24 AND blocks.id < (chunk + 1) << 24) FROM chunks");
  const Outcome read = all.begin().rows([&](const Row& row) {
    if (row.number(5) >= row.number(3)) return true;
    chunks.push_back({row.number(0), row.number(1), row.number(2), row.number(5), row.number(4)});
    losses.cells.emplace_back(static_cast<EntryId>(row.number(0) >> number_bits), row.number(3) - row.number(5));
    return true;
  });
  Statement put(made, put_text(CollectedFile::tables()[Tables::chunks]));
  const auto mend = [&put](const Chunk& one) {
    return put.begin().with(one.id).with(one.chunk).with(one.series).with(one.left).with(one.bytes).run() ==
           Outcome::done;
  };
  return read == Outcome::done && std::all_of(chunks.begin(), chunks.end(), mend);
}

std::uint64_t count_rows(Connection& made, const char* table, std::uint64_t from, std::uint64_t to) {
  const std::string range = " WHERE id >= " + std::to_string(from) + " AND id < " + std::to_string(to);
  return made.ask(("SELECT count(*) FROM " + std::string(table) + range).c_str());
}

// Of the series the first one is in every entry, and in no row.
bool is_whole(Connection& made, const Written& written) {
  for (std::size_t axis = 0; axis < axis_count; ++axis) {
    const std::uint64_t first = item_key(written.id, axis, 0);
    if (count_rows(made, "axes", first, item_key(written.id, axis, written.items[axis])) != written.items[axis]) {
      return false;
    }
  }
  const std::uint64_t to = series_key(written.id, written.series);
  return count_rows(made, "cells", series_key(written.id, 0), to) + 1 == written.series;
}

}  // namespace

Mend SeriesStore::mender() {
  losses_ = std::make_shared<RenewalLosses>();
  std::vector<Written> all;
  for (const auto& [id, known] : entries_) {
    if (known.cells) all.push_back({id, known.written_items, known.written_series});
  }
  return [losses = losses_, all](Connection& made) {
    for (const Written& one : all) {
      if (!is_whole(made, one)) losses->layouts.push_back(one.id);
    }
    return find_lost_cells(made, *losses);
  };
}

void SeriesStore::count_losses(const RenewalLosses& losses) {
  for (const auto& [id, cells] : losses.cells) {
    Entry* const kept = entry(id);
    if (kept == nullptr) continue;
    kept->books.counts.lost += cells;
    kept->row_is_due = true;
    changed(kept->id);
  }
}

// A renewed file gets again what is known of the entries; at the start it is read, and the rounds that were under way
// end.
bool SeriesStore::load(bool renewed) {
  const auto losses = renewed ? std::exchange(losses_, nullptr) : std::make_shared<RenewalLosses>();
  if (loaded_) {
    count_losses(*losses);
    return write_again(losses->layouts);
  }
  entries_.clear();
  by_name_.clear();
  last_chunk_ = last_number(Tables::blocks, 0, UINT64_MAX >> 1) >> number_bits;
  last_chunk_ = std::max(last_chunk_, file_.database().connection().ask("SELECT max(chunk) FROM chunks"));
  if (!load_entries() || !load_staged()) return false;
  loaded_ = true;
  count_losses(*losses);
  end_open_rounds();
  if (!to_erase_.empty() || !to_remove_.empty()) file_.schedule();
  tell_unbalanced();
  return true;
}

bool SeriesStore::write_again(const std::vector<EntryId>& layouts) {
  for (const EntryId id : layouts) {
    Entry* const kept = entry(id);
    if (kept == nullptr) continue;
    kept->written_items = {};
    kept->written_series = 1;
  }
  for (auto& [id, known] : entries_) {
    known.row_is_due = true;
    touched_.push_back(id);
    news_.push_back(id);
  }
  const bool safe = file_.database().commit(put());
  ended(safe);
  return safe;
}

// The highest key of a table in a range, without what stands above bit 34 of it; 0 without one.
std::uint64_t SeriesStore::last_number(std::size_t table, std::uint64_t from, std::uint64_t to) {
  std::uint64_t last = from;
  Query newest(file_.database(), table, "WHERE id >= ? AND id < ? ORDER BY id DESC LIMIT 1");
  (void)newest.rows(
      [&](const Row& row) {
        last = row.number(0);
        return false;
      },
      from, to);
  return last - from;
}

bool SeriesStore::load_entries() {
  Query all(file_.database(), Tables::entries, "");
  const Outcome outcome = all.rows([&](const Row& row) {
    Entry read;
    read.id = row.word(0);
    read.name = row.text(1);
    read.owner = row.text(2);
    read.state = static_cast<State>(row.word(3));
    read.safe_rounds = row.word(4);
    read.books.counts = {row.number(6), row.number(7), row.number(8), row.number(9), 0, row.number(10)};
    read.books.rounds = row.word(4);
    read.books.last_due = static_cast<std::int64_t>(row.number(5));
    read.row_is_due = false;
    last_entry_ = std::max(last_entry_, read.id);
    if (read.state == State::removed || read.state == State::copying) {
      read.state = State::removed;
      to_remove_.insert(read.id);
    } else {
      by_name_[read.name] = read.id;
    }
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
    read.cells = std::make_unique<OpenEntry>(layout, read.books.rounds, read.books.counts);
    read.gap_rows = last_number(Tables::gaps, gap_key(read.id, 0), gap_key(read.id + 1, 0));
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
    if (staged == nullptr || !staged->cells || segment_of(staged->books.rounds) > row.number(2)) {
      to_erase_.push_back(row.number(0));
      return true;
    }
    staged->cells->apply(row.bytes(3));
    staged->staged.emplace_back(row.number(0), row.word(2));
    return true;
  });
  return outcome == Outcome::done && rows == file_.database().rows(Tables::staged);
}

void SeriesStore::end_open_rounds() {
  for (auto& [id, known] : entries_) {
    if (!known.cells) continue;
    known.safe_rounds = known.cells->ended_rounds();
    if (known.cells->full() || known.state == State::closing) changed(id);
    for (std::uint32_t round = known.safe_rounds; round < known.cells->next_round(); ++round) {
      changed(id);
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
