#include "manager/series/layout.h"

#include <algorithm>

namespace ox::manager {

std::uint32_t Layout::item(Axis axis, std::string_view text) {
  Items& items = of(axis);
  if (const auto known = items.numbers.find(text); known != items.numbers.end()) return known->second;
  const auto number = static_cast<std::uint32_t>(items.texts.size());
  items.texts.emplace_back(text);
  try {
    items.numbers.emplace(text, number);
  } catch (...) {
    items.texts.pop_back();
    throw;
  }
  return number;
}

std::uint32_t Layout::series(const SeriesKey& key) {
  if (const auto known = by_key_.find(key); known != by_key_.end()) return known->second;
  const auto number = static_cast<std::uint32_t>(series_.size());
  series_.push_back(key);
  try {
    by_key_.emplace(key, number);
  } catch (...) {
    series_.pop_back();
    throw;
  }
  return number;
}

std::uint32_t Layout::clock_series(std::uint32_t component, std::uint32_t item) {
  const SeriesKey key{component, clock_amib, item};
  if (item > 1) return series(key);
  if (component >= first_clocks_.size())
    first_clocks_.resize(std::max(of(Axis::component).texts.size(), component + std::size_t{1}));
  std::uint32_t& known = first_clocks_[component][item];
  if (known == 0) known = series(key);
  return known;
}

}  // namespace ox::manager
