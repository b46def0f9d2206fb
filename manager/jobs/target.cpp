#include "manager/jobs/target.h"

#include <algorithm>

#include "manager/base/oid.h"

namespace ox::manager {
namespace {

// The same after a restart, and on every system.
std::uint32_t hash_of(std::string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  return static_cast<std::uint32_t>((hash ^ hash >> 29) * 0x9E3779B97F4A7C15 >> 32);
}

}  // namespace

LogTarget::LogTarget(ComponentName component)
    : name(std::move(component)), text(name.type + ':' + name.name), offset(hash_of(text)) {}

void LogTarget::turn_to(const Filling& filling) {
  if (serial_ == filling.serial) return;
  serial_ = filling.serial;
  component_ = no_series;
  std::fill(series_.begin(), series_.end(), no_series);
  for (auto& column : rows) {
    for (Row& one : column) one.series = no_series;
  }
}

std::uint32_t LogTarget::number(SeriesStore& store, const Filling& filling) {
  turn_to(filling);
  if (component_ == no_series) component_ = store.item(filling.id, Axis::component, text);
  return component_;
}

std::uint32_t LogTarget::series_of(SeriesStore& store, const Filling& filling, std::string_view leaf,
                                   std::string_view item) {
  return store.series(filling.id, {number(store, filling), store.item(filling.id, Axis::amib, leaf),
                                   store.item(filling.id, Axis::item, item)});
}

std::uint32_t LogTarget::series_of(SeriesStore& store, const Filling& filling, const CollectedNames& names,
                                   std::size_t slot) {
  turn_to(filling);
  if (series_.size() != names.instances.size()) series_.assign(names.instances.size(), no_series);
  std::uint32_t& series = series_[slot];
  if (series == no_series) {
    series = series_of(store, filling, names.instances[slot].leaf, names.instances[slot].item);
  }
  return series;
}

std::uint32_t LogTarget::series_of(SeriesStore& store, const Filling& filling, const CollectedNames& names,
                                   std::size_t column, Row& one) {
  turn_to(filling);
  if (one.series == no_series) one.series = series_of(store, filling, names.columns[column].leaf, one.item);
  return one.series;
}

// Rows come in the order of their numbers, as they did last.
LogTarget::Row& LogTarget::row(std::size_t column, std::size_t& at, std::string_view item) {
  std::vector<Row>& all = rows[column];
  if (at < all.size() && all[at].item == item) return all[at++];
  const auto numbers = parse_oid(item);
  while (at < all.size() && parse_oid(all[at].item) < numbers) ++at;
  if (at == all.size() || all[at].item != item) {
    all.insert(all.begin() + static_cast<std::ptrdiff_t>(at), {std::string(item)});
  }
  return all[at++];
}

std::uint32_t LogTarget::expected(const CollectedNames& names) const {
  std::size_t count = names.instances.size() + stored;
  for (std::size_t i = 0; i < names.columns.size(); ++i) {
    count += i < rows.size() && !rows[i].empty() ? rows[i].size() : name.type == "node" ? 1 : 0;
  }
  return static_cast<std::uint32_t>(count);
}

std::size_t LogTarget::most_rows() const {
  std::size_t most = 0;
  for (const auto& column : rows) most = std::max(most, column.size());
  return most;
}

}  // namespace ox::manager
