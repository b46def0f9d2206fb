#include "manager/series/view.h"

#include "manager/series/keys.h"
#include "manager/series/store.h"

namespace ox::manager {
namespace {

using Tables = CollectedTables;

// Cells as they lie in a tail, but for rounds that are not safe yet.
void take_tail(const Tail& tail, std::uint32_t safe_places, CellsOfSegment& taken) {
  taken.bytes = tail.bytes;
  (void)read_cells(taken.bytes, taken.cells);
  while (!taken.cells.empty() && taken.cells.back().place >= safe_places) taken.cells.pop_back();
}

}  // namespace

std::shared_ptr<const EntryView> SeriesStore::view(EntryId id, std::uint32_t from) {
  const Entry* const kept = entry(id);
  if (kept == nullptr || kept->state == State::removed) return {};
  auto view = std::make_shared<EntryView>();
  view->id = id;
  view->rounds = kept->safe_rounds;
  view->lost = counts(id).lost;
  if (kept->cells) {
    view->layout = kept->cells->shared_layout();
  } else {
    auto layout = std::make_shared<Layout>();
    if (!load_layout(id, *layout)) ++view->lost;
    view->layout = layout;
  }
  view->series = view->layout->all_series().size();
  for (std::size_t axis = 0; axis < axis_count; ++axis) {
    view->items[axis] = view->layout->items(static_cast<Axis>(axis)).size();
  }
  view->first_segment = segment_of(std::min(from, kept->books.rounds));
  view->chunks.resize(segment_of(kept->books.rounds) - view->first_segment);
  const Outcome read = chunk_query_.rows(
      [&](const Row& row) {
        const std::uint32_t segment = row.word(0) & ((1u << number_bits) - 1);
        if (view->has_chunks_of(segment)) view->chunks[segment - view->first_segment] = row.number(1);
        return true;
      },
      chunk_key(id, view->first_segment), chunk_key(id + 1, 0));
  if (read != Outcome::done) ++view->lost;
  if (!kept->cells) trim_rounds(*view);
  return view;
}

// The last segment of a closed entry need not be full.
void SeriesStore::trim_rounds(EntryView& view) {
  CellsOfSegment times;
  while (view.rounds != 0 && segment_of(view.rounds - 1) >= view.first_segment) {
    const std::uint32_t last = segment_of(view.rounds - 1);
    if (!cells_of(view, last, round_series, times)) ++view.lost;
    if (!times.cells.empty() || view.chunk_of(last) == 0) break;
    view.rounds = last * rounds_of_segment;
  }
  if (!times.cells.empty()) {
    view.rounds = segment_of(view.rounds - 1) * rounds_of_segment + times.cells.back().place + 1;
  }
}

bool SeriesStore::cells_of(const EntryView& view, std::uint32_t segment, std::uint32_t series, CellsOfSegment& taken) {
  taken.cells.clear();
  const Entry* const kept = entry(view.id);
  if (kept == nullptr || kept->state == State::removed) return false;
  if (kept->cells) {
    const OpenEntry& cells = *kept->cells;
    const Segment* const here = segment == cells.filling().number                 ? &cells.filling()
                                : cells.full() && segment == cells.full()->number ? &*cells.full()
                                                                                  : nullptr;
    if (here != nullptr) {
      if (series < here->tails.size() && !here->tails[series].bytes.empty()) {
        const std::uint32_t first = segment * rounds_of_segment;
        take_tail(here->tails[series], kept->safe_rounds - std::min(first, kept->safe_rounds), taken);
        return true;
      }
      if (!sealing_ || sealing_->entry() != view.id || here == &cells.filling()) return true;
      return read_block(sealing_->chunk(), series, taken);
    }
  }
  // It has become blocks since, when the view does not know it.
  const std::uint64_t chunk = view.has_chunks_of(segment) ? view.chunk_of(segment) : find_chunk(view.id, segment);
  return chunk != 0 && read_block(chunk, series, taken);
}

std::uint64_t SeriesStore::find_chunk(EntryId id, std::uint32_t segment) {
  std::uint64_t chunk = 0;
  const auto take = [&](const Row& row) {
    chunk = row.number(1);
    return true;
  };
  (void)chunk_query_.rows(take, chunk_key(id, segment), chunk_key(id, segment + 1));
  return chunk;
}

// A series need not have cells in a segment.
bool SeriesStore::read_block(std::uint64_t chunk, std::uint32_t series, CellsOfSegment& taken) {
  bool sound = true;
  const Outcome read = block_query_.rows(
      [&](const Row& row) {
        const auto bytes = row.bytes(2);
        taken.bytes.assign(bytes.begin(), bytes.end());
        sound = block_reader_.read(taken.bytes, rounds_of_segment, taken.cells) && taken.cells.size() == row.number(1);
        return false;
      },
      block_key(chunk, series));
  return read == Outcome::done && sound;
}

CellCursor::CellCursor(SeriesStore& store, std::shared_ptr<const EntryView> view, std::uint32_t from, std::uint32_t to)
    : store_(store),
      view_(std::move(view)),
      from_(from),
      to_(std::min(to, view_->rounds)),
      last_series_(static_cast<std::uint32_t>(view_->series)),
      segment_(segment_of(from)) {}

CellCursor::CellCursor(SeriesStore& store, std::shared_ptr<const EntryView> view, std::uint32_t from, std::uint32_t to,
                       std::uint32_t series)
    : CellCursor(store, std::move(view), from, to) {
  first_series_ = series;
  last_series_ = std::min(last_series_, series + 1);
  series_ = series;
}

void CellCursor::read_block() {
  at_ = 0;
  if (!store_.cells_of(*view_, segment_, series_, block_)) lost_ = true;
}

bool CellCursor::next_block() {
  if (std::exchange(begun_, true)) ++series_;
  if (series_ >= last_series_) {
    series_ = first_series_;
    ++segment_;
  }
  if (std::uint64_t{segment_} * rounds_of_segment >= to_ || first_series_ >= last_series_) return false;
  read_block();
  return true;
}

const Cell* CellCursor::next() {
  for (;;) {
    while (at_ < block_.cells.size()) {
      Cell& cell = block_.cells[at_++];
      cell.place += segment_ * rounds_of_segment;
      if (cell.place >= from_ && cell.place < to_) return &cell;
    }
    block_.cells.clear();
    if (!next_block()) return nullptr;
  }
}

}  // namespace ox::manager
