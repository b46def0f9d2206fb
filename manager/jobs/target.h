// A component of which a log entry collects, and what is known of its values.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "manager/base/component_name.h"
#include "manager/jobs/collected_names.h"
#include "manager/jobs/filling.h"

namespace ox::manager {

inline constexpr std::uint32_t no_series = 0xFFFFFFFF;

struct LogTarget {
  // A row of a column, in the order of the last walk.
  struct Row {
    std::string item;
    std::uint32_t series = no_series;
    std::uint32_t round = no_series;  // in which it was there
  };

  explicit LogTarget(ComponentName component);

  // The number of a value's series in the data entry that is being filled.
  [[nodiscard]] std::uint32_t series_of(SeriesStore& store, const Filling& filling, const CollectedNames& names,
                                        std::size_t slot);
  [[nodiscard]] std::uint32_t series_of(SeriesStore& store, const Filling& filling, const CollectedNames& names,
                                        std::size_t column, Row& row);
  [[nodiscard]] std::uint32_t series_of(SeriesStore& store, const Filling& filling, std::string_view leaf,
                                        std::string_view item);
  [[nodiscard]] std::uint32_t number(SeriesStore& store, const Filling& filling);
  // The row of a column, which is made when it is new. `at`: where it may stand, which is moved on; from 0 in each
  // walk.
  [[nodiscard]] Row& row(std::size_t column, std::size_t& at, std::string_view item);
  // How many values are expected of it.
  [[nodiscard]] std::uint32_t expected(const CollectedNames& names) const;
  [[nodiscard]] std::size_t most_rows() const;

  ComponentName name;
  std::string text;                              // "type:name"
  std::uint32_t offset = 0;                      // when its requests leave: of 2^32 parts of the time in which all do
  bool there = true;                             // the component is
  bool busy = false;                             // the last round has not ended for it
  std::int64_t took = 0;                         // milliseconds from its moment to its last value, in the last round
  std::vector<std::function<void()>> overrun{};  // later rounds, to be told when it is not any more
  bool silent = false;                           // the last one failed as a whole
  std::uint32_t stored = 0;                      // values that the manager keeps, as they were in the last round
  std::set<std::string> failing{};               // paths of single values that have failed last
  std::vector<std::vector<Row>> rows{};          // of each column

 private:
  void turn_to(const Filling& filling);

  std::uint32_t serial_ = 0;
  std::uint32_t component_ = no_series;
  std::vector<std::uint32_t> series_{};  // of the instances
};

}  // namespace ox::manager
