// Collected data as the items of a matrix, one after the other.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>

#include "manager/series/view.h"

namespace ox::manager {

// What gives items in their order.
class ItemSource {
 public:
  ItemSource() = default;
  ItemSource(const ItemSource&) = delete;
  ItemSource& operator=(const ItemSource&) = delete;
  virtual ~ItemSource() = default;
  // Appends the next one; false behind the last.
  [[nodiscard]] virtual bool next(Bytes& out) = 0;
  // Something that should have come has not.
  [[nodiscard]] virtual bool lost() const = 0;
};

void put_axis_item(Bytes& out, Axis axis, std::uint32_t number, std::string_view text);
void put_time_item(Bytes& out, std::uint32_t number, std::int64_t milliseconds);
// Of a value of that length, which is to follow.
void put_cell_item(Bytes& out, const SeriesKey& series, std::uint32_t time, std::uint32_t type, std::uint32_t status,
                   std::uint32_t length);

// The bytes of an entry's header, with the times.
[[nodiscard]] std::uint64_t header_size(const Layout& layout, std::uint32_t rounds);

// The axes of an entry, and the times of its rounds, where they are wanted.
class HeaderItems final : public ItemSource {
 public:
  HeaderItems(SeriesStore& store, std::shared_ptr<const EntryView> view, bool times);
  [[nodiscard]] bool next(Bytes& out) override;
  [[nodiscard]] bool lost() const override { return times_.lost(); }

 private:
  std::shared_ptr<const EntryView> view_;
  CellCursor times_;
  std::size_t axis_ = 0;
  std::size_t item_ = 0;
  std::uint32_t round_ = 0;
};

// The values of some rounds, behind their times, where they are wanted.
class ValueItems final : public ItemSource {
 public:
  ValueItems(SeriesStore& store, std::shared_ptr<const EntryView> view, std::uint32_t from, std::uint32_t to,
             bool times);
  [[nodiscard]] bool next(Bytes& out) override;
  [[nodiscard]] bool lost() const override { return times_.lost() || values_.lost(); }

 private:
  std::shared_ptr<const EntryView> view_;
  CellCursor times_;
  CellCursor values_;
};

}  // namespace ox::manager
