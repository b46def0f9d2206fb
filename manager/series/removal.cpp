#include "manager/series/removal.h"

#include <string>

#include "manager/series/collected_file.h"
#include "manager/series/keys.h"

namespace ox::manager {
namespace {

using Tables = CollectedTables;
constexpr std::uint64_t rows_of_step = 64;  // at the clock

}  // namespace

// The blocks go before the chunks that tell where they are.
Removal::Removal(EntryId entry, Database& database) : database_(database) {
  Statement chunks(database.connection(), "SELECT chunk FROM chunks WHERE id >= ? AND id < ?");
  (void)chunks.begin().with(chunk_key(entry, 0)).with(chunk_key(entry + 1, 0)).rows([this](const Row& row) {
    ranges_.push_back({Tables::blocks, block_key(row.number(0), 0), block_key(row.number(0) + 1, 0)});
    return true;
  });
  ranges_.push_back({Tables::chunks, chunk_key(entry, 0), chunk_key(entry + 1, 0)});
  ranges_.push_back({Tables::gaps, gap_key(entry, 0), gap_key(entry + 1, 0)});
  ranges_.push_back({Tables::cells, series_key(entry, 0), series_key(entry + 1, 0)});
  ranges_.push_back({Tables::axes, item_key(entry, 0, 0), item_key(entry + 1, 0, 0)});
  ranges_.push_back({Tables::entries, entry, std::uint64_t{entry} + 1});
}

void Removal::step(std::chrono::steady_clock::time_point until) {
  while (at_ < ranges_.size()) {
    if (!erase_some(ranges_[at_])) ++at_;
    if (std::chrono::steady_clock::now() >= until) return;
  }
}

// False when none are left.
bool Removal::erase_some(const Range& range) {
  const std::string name(CollectedFile::tables()[range.table].name);
  std::vector<std::uint64_t> keys;
  Statement some(database_.connection(),
                 "SELECT id FROM " + name + " WHERE id >= ? AND id < ? LIMIT " + std::to_string(rows_of_step));
  (void)some.begin().with(range.from).with(range.to).rows([&](const Row& row) {
    keys.push_back(row.number(0));
    return true;
  });
  for (const std::uint64_t key : keys) database_.erase(range.table, key);
  return !keys.empty();
}

void Removal::ended(bool safe) {
  safe_ = safe;
  if (!safe) at_ = 0;
}

}  // namespace ox::manager
