// Values of several data entries as those of one: of a window of time, as they are or one for each step.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "manager/series/items.h"
#include "manager/series/rate.h"

namespace ox::manager {

class SeriesStore;

// The words of a get's selection.
struct WindowQuestion {
  std::uint32_t from = 0;  // seconds since 1970
  std::uint32_t to = 0;    // the last second; 0: no end
  std::uint32_t step = 0;  // seconds; 0: all of it is one, or every round
  enum Function : std::uint32_t { values = 0, minimum = 1, maximum = 2, average = 3, difference = 4, rate = 5 };
  std::uint32_t function = values;
  std::uint32_t count = 0;  // the last times; 0: all of them
};

class WindowItems final : public ItemSource {
 public:
  // Of entries in the order of their times.
  WindowItems(SeriesStore& store, const std::vector<std::shared_ptr<const EntryView>>& views,
              const WindowQuestion& question);
  [[nodiscard]] bool next(Bytes& out) override;
  [[nodiscard]] bool lost() const override { return lost_; }

 private:
  // What an entry has of the window.
  struct Slice {
    std::shared_ptr<const EntryView> view;
    std::uint32_t from = 0;
    std::uint32_t to = 0;
    std::size_t first_time = 0;                         // in times_
    std::array<std::vector<std::uint32_t>, 3> items{};  // its numbers in the common layout
    std::map<std::uint32_t, std::uint32_t> series{};    // its series by the common ones
  };
  // What has come of one series in one step.
  struct Step {
    std::uint32_t number = 0;
    std::uint64_t count = 0;
    double sum = 0;
    double seconds = 0;
    std::uint32_t status = 0;
    Cell best{};
    Bytes best_bytes{};
  };

  void take_times(Slice& slice);
  void merge(Slice& slice);
  void keep_the_last();
  [[nodiscard]] bool next_axis_item(Bytes& out);
  [[nodiscard]] bool next_value(Bytes& out);
  [[nodiscard]] bool next_of_series(Bytes& out);
  [[nodiscard]] const Cell* next_cell();
  [[nodiscard]] ReadAt read_at(const Cell& cell);
  void take(const Cell& cell, Step& step);
  void put_step(Bytes& out, const Step& step) const;
  [[nodiscard]] std::uint32_t step_of(std::size_t time) const;
  [[nodiscard]] bool by_steps() const { return question_.step != 0 || is_aggregate(); }
  [[nodiscard]] bool is_aggregate() const {
    return question_.function >= WindowQuestion::minimum && question_.function <= WindowQuestion::average;
  }

  SeriesStore& store_;
  WindowQuestion question_;
  std::vector<Slice> slices_;
  std::vector<std::int64_t> times_;  // due, of all rounds, milliseconds since 1970
  std::vector<std::int64_t> axis_;   // of the answer
  Layout layout_;
  bool lost_ = false;
  // How far it has come.
  std::size_t axis_at_ = 0;
  std::size_t item_at_ = 0;
  std::uint32_t series_at_ = 0;
  std::size_t slice_at_ = 0;
  std::unique_ptr<CellCursor> cells_;
  std::optional<Step> open_step_;
  std::optional<Cell> before_;
  ReadAt before_at_;
  struct ClockCells {
    std::size_t slice = 0;
    std::uint32_t series = 0;
    std::uint32_t segment = 0;
    CellsOfSegment cells{};
  };
  std::array<ClockCells, 2> clocks_{};
};

}  // namespace ox::manager
