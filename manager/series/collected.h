// Data of applications: for each pair of texts a series of records, in the database of collected data.
//
// What is appended in one turn of the event loop is one batch: it is committed at the turn's end, and answered for
// then.
#pragma once

#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "manager/series/collected_file.h"

namespace ox::manager {

class Collected final : private CollectedFile::User {
 public:
  struct Limits {
    std::uint32_t series_size;  // bytes of one series
    std::uint32_t series;
    std::uint32_t bytes;  // of all series
  };
  Collected(CollectedFile& file, const Limits& limits) : file_(file), limits_(limits) { file.add(*this); }

  struct Key {
    std::string text1;
    std::string text2;
    auto operator<=>(const Key&) const = default;
  };
  // Appends one record. `done` gets 0 when it is safe, 144 when the disk refuses it; 266, at once, when the series,
  // or all together, would get too large; 85, at once, for one too many.
  using Done = std::function<void(OX_RESULT)>;
  void append(const Key& key, std::uint32_t first, std::uint32_t second, std::span<const std::byte> values, Done done);
  // Bytes in a series, with 12 for each record beside its values; 122 when there is none.
  [[nodiscard]] OX_RESULT size(const Key& key, std::uint32_t& bytes) const;

 private:
  struct Extent {
    std::uint64_t bytes = 0;
    std::uint64_t next = 0;  // the number of the next record
  };
  struct Series {
    std::uint64_t id = 0;
    Extent safe{};  // as committed
    Extent now{};
  };
  using AllSeries = std::map<Key, Series>;

  [[nodiscard]] Mend mender() override;
  [[nodiscard]] bool load(bool renewed) override;
  [[nodiscard]] bool put() override;
  void ended(bool safe) override;
  void answer(bool safe) override;
  [[nodiscard]] bool recount();

  CollectedFile& file_;
  Limits limits_;
  AllSeries series_;
  std::uint64_t bytes_ = 0;    // of all series, as they are now
  std::uint64_t last_id_ = 0;  // of the series
  // What a renewed file has of each, by its number.
  using Left = std::unordered_map<std::uint64_t, Extent>;
  std::shared_ptr<Left> left_;
  // Of this turn.
  std::vector<AllSeries::value_type*> touched_;
  std::vector<Done> waiting_;  // an empty one for what was not appended after all
};

}  // namespace ox::manager
