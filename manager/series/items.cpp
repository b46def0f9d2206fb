#include "manager/series/items.h"

#include <algorithm>
#include <array>

#include <oxbase/oxd.h>

#include "manager/series/store.h"

namespace ox::manager {
namespace {

constexpr std::array<std::uint32_t, axis_count> kinds{OXD_MATRIX_COMPONENT, OXD_MATRIX_AMIB, OXD_MATRIX_INDEX};
constexpr std::uint32_t text_size = 9;  // of an item beside its text, with the terminator
constexpr std::uint32_t time_size = 10;

void put_number(Bytes& out, std::uint64_t number, int width) {
  for (int shift = 8 * (width - 1); shift >= 0; shift -= 8) out.push_back(static_cast<std::byte>(number >> shift));
}

}  // namespace

void put_axis_item(Bytes& out, Axis axis, std::uint32_t number, std::string_view text) {
  put_number(out, kinds[static_cast<std::size_t>(axis)], 2);
  put_number(out, number, 4);
  put_number(out, text.size() + 1, 2);
  const auto bytes = std::as_bytes(std::span(text));
  out.insert(out.end(), bytes.begin(), bytes.end());
  out.push_back(std::byte{0});
}

void put_time_item(Bytes& out, std::uint32_t number, std::int64_t milliseconds) {
  put_number(out, OXD_MATRIX_TIME, 2);
  put_number(out, number, 4);
  put_number(out, static_cast<std::uint64_t>(milliseconds) / 1000, 4);
}

void put_cell_item(Bytes& out, const SeriesKey& series, std::uint32_t time, std::uint32_t type, std::uint32_t status,
                   std::uint32_t length) {
  put_number(out, OXD_MATRIX_CELL, 2);
  for (const std::uint32_t word : {series.component, series.amib, series.item, time, type, status, length}) {
    put_number(out, word, 4);
  }
  put_number(out, length, 2);
}

std::uint64_t header_size(const Layout& layout, std::uint32_t rounds) {
  std::uint64_t size = std::uint64_t{rounds} * time_size;
  for (std::size_t axis = 0; axis < axis_count; ++axis) {
    for (const std::string& text : layout.items(static_cast<Axis>(axis))) size += text.size() + text_size;
  }
  return size;
}

HeaderItems::HeaderItems(SeriesStore& store, std::shared_ptr<const EntryView> view, bool times)
    : view_(view), times_(store, view, 0, times ? view->rounds : 0, round_series) {}

// Rounds whose times are lost keep their places.
bool HeaderItems::next(Bytes& out) {
  for (; axis_ < axis_count; ++axis_, item_ = 0) {
    if (item_ >= view_->items[axis_]) continue;
    const auto axis = static_cast<Axis>(axis_);
    put_axis_item(out, axis, static_cast<std::uint32_t>(item_), view_->layout->items(axis)[item_]);
    ++item_;
    return true;
  }
  const Cell* const time = times_.next();
  if (time == nullptr) return false;
  for (; round_ < time->place; ++round_) put_time_item(out, round_, 0);
  put_time_item(out, round_++, static_cast<std::int64_t>(time->number));
  return true;
}

ValueItems::ValueItems(SeriesStore& store, std::shared_ptr<const EntryView> view, std::uint32_t from, std::uint32_t to,
                       bool times)
    : view_(view), times_(store, view, from, times ? to : from, round_series), values_(store, view, from, to) {}

bool ValueItems::next(Bytes& out) {
  if (const Cell* const time = times_.next()) {
    put_time_item(out, time->place, static_cast<std::int64_t>(time->number));
    return true;
  }
  while (const Cell* const cell = values_.next()) {
    const SeriesKey& key = view_->layout->all_series()[values_.series()];
    if (!Layout::has_values(key)) continue;
    put_cell_item(out, key, cell->place, cell->type, cell->status, cell->length());
    cell->append_value(out);
    return true;
  }
  return false;
}

}  // namespace ox::manager
