// What a data entry has values of: its axes, and the series, one for each combination of their items that it has.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace ox::manager {

// A component "type:name", the numeric path of a leaf, an instance of it.
enum class Axis : std::uint32_t { component, amib, item };
inline constexpr std::size_t axis_count = 3;

struct SeriesKey {
  std::uint32_t component = 0;
  std::uint32_t amib = 0;
  std::uint32_t item = 0;
  bool operator==(const SeriesKey&) const = default;
};

// In the place of an attribute: the series tells when the component's answers of a round came. The item is twice the
// number of the answer in the round, one more for the agent's own clock.
inline constexpr std::uint32_t clock_amib = 0xFFFFFFFF;
// In place of any item: all of them.
inline constexpr std::uint32_t all_items = 0xFFFFFFFF;
// The first series has the due times of the rounds.
inline constexpr std::uint32_t round_series = 0;

class Layout {
 public:
  Layout() { (void)series(round_key); }

  // The number of an item by its text, which is made when there is none.
  [[nodiscard]] std::uint32_t item(Axis axis, std::string_view text);
  // The number of a series, which is made when there is none.
  [[nodiscard]] std::uint32_t series(const SeriesKey& key);
  // Of a component's clocks; those of its first answer in a round, which every round asks for, at hand.
  [[nodiscard]] std::uint32_t clock_series(std::uint32_t component, std::uint32_t item);

  [[nodiscard]] std::optional<std::uint32_t> find(const SeriesKey& key) const {
    const auto known = by_key_.find(key);
    return known != by_key_.end() ? std::optional(known->second) : std::nullopt;
  }

  // In the place of what has been lost.
  void add_lost(Axis axis) { of(axis).texts.emplace_back(); }
  void add_lost_series() { series_.push_back(round_key); }

  [[nodiscard]] const std::vector<std::string>& items(Axis axis) const { return of(axis).texts; }
  [[nodiscard]] const std::vector<SeriesKey>& all_series() const { return series_; }
  // Those that have values, and not times.
  [[nodiscard]] static bool has_values(const SeriesKey& key) { return key.amib != clock_amib; }

 private:
  static constexpr SeriesKey round_key{all_items, clock_amib, all_items};
  struct Hash {
    std::size_t operator()(const SeriesKey& key) const {
      const std::uint64_t items = std::uint64_t{key.component} << 32 | key.item;
      return static_cast<std::size_t>((items * 0x9E3779B97F4A7C15u ^ key.amib * 0xC2B2AE3D27D4EB4Fu) >> 29);
    }
  };
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
  };
  struct Items {
    std::vector<std::string> texts;
    std::unordered_map<std::string, std::uint32_t, TextHash, std::equal_to<>> numbers;
  };
  [[nodiscard]] Items& of(Axis axis) { return axes_[static_cast<std::size_t>(axis)]; }
  [[nodiscard]] const Items& of(Axis axis) const { return axes_[static_cast<std::size_t>(axis)]; }

  std::array<Items, axis_count> axes_;
  std::vector<SeriesKey> series_;
  std::unordered_map<SeriesKey, std::uint32_t, Hash> by_key_;
  std::vector<std::array<std::uint32_t, 2>> first_clocks_;  // of each component; 0: not known yet
};

}  // namespace ox::manager
