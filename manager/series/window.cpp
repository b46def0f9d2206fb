#include "manager/series/window.h"

#include <algorithm>
#include <cstdio>
#include <limits>

#include <oxbase/oxtypes.h>

#include "manager/series/store.h"

namespace ox::manager {
namespace {

constexpr std::int64_t second = 1000;  // milliseconds
constexpr std::uint32_t all_of_it = 0;

std::string decimal(double number) {
  char text[64];
  (void)std::snprintf(text, sizeof text, "%.3f", number);
  std::string trimmed = text;
  trimmed.erase(trimmed.find_last_not_of('0') + 1);
  if (trimmed.ends_with('.')) trimmed.pop_back();
  return trimmed == "-0" ? "0" : trimmed;
}

}  // namespace

WindowItems::WindowItems(SeriesStore& store, const std::vector<std::shared_ptr<const EntryView>>& views,
                         const WindowQuestion& question)
    : store_(store), question_(question) {
  for (const auto& view : views) {
    if (view->lost != 0) lost_ = true;
    Slice slice;
    slice.view = view;
    slices_.push_back(std::move(slice));
    take_times(slices_.back());
  }
  if (!by_steps() && question_.count != 0) keep_the_last();
  for (Slice& slice : slices_) merge(slice);
  if (!by_steps()) {
    axis_ = times_;
  } else if (!times_.empty()) {
    const std::int64_t first =
        question_.from != 0 || question_.step == 0 ? std::int64_t{question_.from} * second : times_.front();
    axis_.push_back(first != 0 ? first : times_.front());
    const std::int64_t step = std::int64_t{question_.step} * second;
    while (step != 0 && axis_.back() + step <= times_.back()) axis_.push_back(axis_.back() + step);
  }
}

// Of its rounds those that the window has; they are in the order of their times, unless the clock was set.
void WindowItems::take_times(Slice& slice) {
  const std::int64_t from = std::int64_t{question_.from} * second;
  const std::int64_t to =
      question_.to != 0 ? (std::int64_t{question_.to} + 1) * second : std::numeric_limits<std::int64_t>::max();
  slice.first_time = times_.size();
  CellCursor rounds(store_, slice.view, 0, slice.view->rounds, round_series);
  while (const Cell* const round = rounds.next()) {
    const auto due = static_cast<std::int64_t>(round->number);
    if (due < from || due >= to) continue;
    if (slice.to == 0) slice.from = round->place;
    for (; slice.to != 0 && slice.to < round->place; ++slice.to) times_.push_back(due);  // outside, in between
    times_.push_back(due);
    slice.to = round->place + 1;
  }
  lost_ = lost_ || rounds.lost();
}

void WindowItems::keep_the_last() {
  if (times_.size() <= question_.count) return;
  const std::size_t dropped = times_.size() - question_.count;
  times_.erase(times_.begin(), times_.begin() + static_cast<std::ptrdiff_t>(dropped));
  for (Slice& slice : slices_) {
    const std::size_t here =
        slice.first_time < dropped ? std::min<std::size_t>(dropped - slice.first_time, slice.to - slice.from) : 0;
    slice.from += static_cast<std::uint32_t>(here);
    slice.first_time = slice.first_time + here - std::min(dropped, slice.first_time + here);
  }
}

// Entries without a round in the window have nothing in its axes.
void WindowItems::merge(Slice& slice) {
  if (slice.from >= slice.to) return;
  const Layout& own = *slice.view->layout;
  for (std::size_t axis = 0; axis < axis_count; ++axis) {
    for (std::size_t i = 0; i < slice.view->items[axis]; ++i) {
      slice.items[axis].push_back(layout_.item(static_cast<Axis>(axis), own.items(static_cast<Axis>(axis))[i]));
    }
  }
  for (std::uint32_t i = 0; i < slice.view->series; ++i) {
    const SeriesKey& key = own.all_series()[i];
    if (!Layout::has_values(key) || key.component >= slice.items[0].size() || key.amib >= slice.items[1].size() ||
        key.item >= slice.items[2].size()) {
      continue;
    }
    const SeriesKey common{slice.items[0][key.component], slice.items[1][key.amib], slice.items[2][key.item]};
    slice.series[layout_.series(common)] = i;
  }
}

bool WindowItems::next(Bytes& out) { return next_axis_item(out) || next_value(out); }

bool WindowItems::next_axis_item(Bytes& out) {
  for (; axis_at_ < axis_count; ++axis_at_, item_at_ = 0) {
    const auto axis = static_cast<Axis>(axis_at_);
    if (item_at_ >= layout_.items(axis).size()) continue;
    put_axis_item(out, axis, static_cast<std::uint32_t>(item_at_), layout_.items(axis)[item_at_]);
    ++item_at_;
    return true;
  }
  if (item_at_ >= axis_.size()) return false;
  put_time_item(out, static_cast<std::uint32_t>(item_at_), axis_[item_at_]);
  ++item_at_;
  return true;
}

// The next cell of this series, from whichever entry.
const Cell* WindowItems::next_cell() {
  for (;;) {
    if (cells_) {
      if (const Cell* const cell = cells_->next()) return cell;
      lost_ = lost_ || cells_->lost();
      cells_.reset();
      ++slice_at_;
    }
    while (slice_at_ < slices_.size() && !slices_[slice_at_].series.contains(series_at_)) ++slice_at_;
    if (slice_at_ >= slices_.size()) return nullptr;
    const Slice& slice = slices_[slice_at_];
    cells_ = std::make_unique<CellCursor>(store_, slice.view, slice.from, slice.to, slice.series.at(series_at_));
  }
}

bool WindowItems::next_value(Bytes& out) {
  for (;;) {
    if (series_at_ != 0 && series_at_ < layout_.all_series().size() && next_of_series(out)) return true;
    if (series_at_ + 1 >= layout_.all_series().size()) return false;
    ++series_at_;
    slice_at_ = 0;
    before_.reset();
  }
}

std::uint32_t WindowItems::step_of(std::size_t time) const {
  if (!by_steps()) return static_cast<std::uint32_t>(time);
  if (question_.step == all_of_it) return 0;
  const std::int64_t step = (times_[time] - axis_.front()) / (std::int64_t{question_.step} * second);
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(step, 0, static_cast<std::int64_t>(axis_.size()) - 1));
}

// One step is one item; it ends with the first cell of another one.
bool WindowItems::next_of_series(Bytes& out) {
  for (;;) {
    const Cell* const cell = next_cell();
    if (cell == nullptr) {
      if (!open_step_) return false;
      put_step(out, *std::exchange(open_step_, std::nullopt));
      return true;
    }
    const Slice& slice = slices_[slice_at_];
    const std::uint32_t number = step_of(slice.first_time + cell->place - slice.from);
    const bool another = open_step_ && open_step_->number != number;
    if (another) put_step(out, *open_step_);
    if (another || !open_step_) {
      open_step_.emplace();
      open_step_->number = number;
    }
    take(*cell, *open_step_);
    if (another) return true;
  }
}

// When the cell was read: what the clocks of its component say of its round.
ReadAt WindowItems::read_at(const Cell& cell) {
  const Slice& slice = slices_[slice_at_];
  const Layout& own = *slice.view->layout;
  const SeriesKey key = own.all_series()[slice.series.at(series_at_)];
  const std::uint32_t segment = segment_of(cell.place);
  ReadAt read;
  const auto look = [&](std::uint32_t which) -> const Cell* {
    const auto number = own.find({key.component, clock_amib, cell.reading * 2 + which});
    if (!number) return nullptr;
    ClockCells& clock = clocks_[which];
    if (clock.slice != slice_at_ + 1 || clock.series != *number || clock.segment != segment) {
      if (!store_.cells_of(*slice.view, segment, *number, clock.cells)) lost_ = true;
      clock.slice = slice_at_ + 1;
      clock.series = *number;
      clock.segment = segment;
    }
    const auto& cells = clock.cells.cells;
    const std::uint32_t place = cell.place % rounds_of_segment;
    const auto found = std::lower_bound(cells.begin(), cells.end(), place,
                                        [](const Cell& one, std::uint32_t wanted) { return one.place < wanted; });
    return found != cells.end() && found->place == place ? &*found : nullptr;
  };
  read.at = times_[slice.first_time + cell.place - slice.from];
  if (const Cell* const when = look(0)) read.at += static_cast<std::int64_t>(when->number);
  if (const Cell* const uptime = look(1)) read.uptime = static_cast<std::uint32_t>(uptime->number);
  return read;
}

void WindowItems::take(const Cell& cell, Step& step) {
  const auto function = question_.function;
  const auto keep = [&] {
    step.best_bytes.assign(cell.bytes.begin(), cell.bytes.end());
    step.best = cell;
    step.best.bytes = step.best_bytes;
  };
  if (cell.form == Cell::gap) {
    if (step.count == 0) step.status = cell.status;
    return;
  }
  if (function == WindowQuestion::values) {
    step.status = cell.status;
    ++step.count;
    return keep();
  }
  if (!cell.is_number()) return;
  if (is_aggregate()) {
    const bool better = function == WindowQuestion::minimum ? number_of(cell) < number_of(step.best)
                                                            : number_of(cell) > number_of(step.best);
    if (step.count++ == 0 || better) keep();
    step.sum += number_of(cell);
    return;
  }
  const ReadAt at = read_at(cell);
  if (before_) {
    const Difference found = ox::manager::difference(*before_, before_at_, cell, at);
    if (found.status != restarted && found.status != implausible) {
      step.sum += found.amount;
      step.seconds += found.seconds;
      ++step.count;
    }
    if (step.count == 0 || found.status == wrapped) step.status = found.status;
  }
  before_ = cell;
  before_at_ = at;
}

void WindowItems::put_step(Bytes& out, const Step& step) const {
  const SeriesKey& series = layout_.all_series()[series_at_];
  const bool same_type = question_.function <= WindowQuestion::maximum;
  const bool nothing = step.count == 0 || (question_.function == WindowQuestion::rate && step.seconds <= 0);
  if (nothing) return put_cell_item(out, series, step.number, 0, step.status, 0);
  if (same_type) {
    put_cell_item(out, series, step.number, step.best.type, is_aggregate() ? 0 : step.status, step.best.length());
    return step.best.append_value(out);
  }
  double result = step.sum;
  if (question_.function == WindowQuestion::average) result /= static_cast<double>(step.count);
  if (question_.function == WindowQuestion::rate) result /= step.seconds;
  const std::string text = decimal(result);
  const std::uint32_t status = step.status == wrapped ? wrapped : 0;
  put_cell_item(out, series, step.number, OX_DISPLAYSTRING, status, static_cast<std::uint32_t>(text.size()) + 1);
  const auto bytes = std::as_bytes(std::span(text.c_str(), text.size() + 1));
  out.insert(out.end(), bytes.begin(), bytes.end());
}

}  // namespace ox::manager
