#include "manager/series/collected.h"

#include <algorithm>
#include <new>
#include <utility>

#include "manager/base/log.h"

namespace ox::manager {
namespace {

using Tables = CollectedTables;

constexpr std::uint64_t record_size = 12;  // beside its values
// A record's key begins with its series: what belongs together lies together.
constexpr int record_bits = 32;

std::uint64_t record_key(std::uint64_t series, std::uint64_t number) { return series << record_bits | number; }

}  // namespace

// The records themselves may be many: the check beside the work looks at them.
bool Collected::load(bool renewed) {
  series_.clear();
  Query all(file_.database(), Tables::series, "");
  const Outcome outcome = all.rows([&](const Row& row) {
    const Extent extent{row.number(3), row.number(4)};
    series_[{row.text(1), row.text(2)}] = {row.number(0), extent, extent};
    last_id_ = std::max(last_id_, row.number(0));
    return true;
  });
  if (outcome != Outcome::done || series_.size() != file_.database().rows(Tables::series)) return false;
  const bool sound = !renewed || recount();
  bytes_ = 0;
  for (const auto& [key, series] : series_) bytes_ += series.now.bytes;
  return sound;
}

Mend Collected::mender() {
  left_ = std::make_shared<Left>();
  return [left = left_](Connection& made) {
    Statement sums(made, "SELECT id >> " + std::to_string(record_bits) + ", sum(length(list) + " +
                             std::to_string(record_size) + "), max(id) & 0xFFFFFFFF FROM records GROUP BY 1");
    return sums.begin().rows([&](const Row& row) {
      (*left)[row.number(0)] = {row.number(1), row.number(2) + 1};
      return true;
    }) == Outcome::done;
  };
}

// What is left of each series counts. Records whose series was lost stay; its number is not used again.
bool Collected::recount() {
  const auto left = std::exchange(left_, nullptr);
  for (const auto& [id, extent] : *left) last_id_ = std::max(last_id_, id);
  for (auto& entry : series_) {
    Series& series = entry.second;
    const Extent& found = (*left)[series.id];
    series.now = {found.bytes, std::max(series.now.next, found.next)};
    touched_.push_back(&entry);
  }
  const bool safe = file_.database().commit(put());
  ended(safe);
  return safe;
}

// When memory runs out, nothing has changed, or the whole batch is refused.
void Collected::append(const Key& key, std::uint32_t first, std::uint32_t second, std::span<const std::byte> values,
                       Done done) {
  const auto known = series_.find(key);
  const std::uint64_t present = known != series_.end() ? known->second.now.bytes : 0;
  const std::uint64_t size = record_size + values.size();
  if (present + size > limits_.series_size || bytes_ + size > limits_.bytes) return done(OX_EENCODEDLONG);
  if (known == series_.end() && series_.size() >= limits_.series) return done(OX_ETOOMANY);
  AllSeries::value_type& entry = *series_.try_emplace(key).first;
  Series& series = entry.second;
  file_.schedule();
  touched_.push_back(&entry);
  waiting_.emplace_back();
  if (series.id == 0) series.id = ++last_id_;
  file_.database().put(Tables::records, record_key(series.id, series.now.next), std::uint64_t{first},
                       std::uint64_t{second}, values);
  series.now = {series.now.bytes + size, series.now.next + 1};
  bytes_ += size;
  waiting_.back() = std::move(done);
}

OX_RESULT Collected::size(const Key& key, std::uint32_t& bytes) const {
  const auto found = series_.find(key);
  if (found == series_.end() || found->second.safe.next == 0) return OX_ENOTFOUND;
  bytes = static_cast<std::uint32_t>(found->second.safe.bytes);
  return OX_OK;
}

bool Collected::put() {
  std::sort(touched_.begin(), touched_.end());
  touched_.erase(std::unique(touched_.begin(), touched_.end()), touched_.end());
  for (const auto* entry : touched_) {
    const auto& [key, series] = *entry;
    file_.database().put(Tables::series, series.id, key.text1, key.text2, series.now.bytes, series.now.next);
  }
  return true;
}

void Collected::ended(bool safe) {
  for (auto* entry : touched_) {
    Series& series = entry->second;
    if (!safe) bytes_ -= series.now.bytes - series.safe.bytes;
    (safe ? series.safe : series.now) = safe ? series.now : series.safe;
  }
  touched_.clear();
}

void Collected::answer(bool safe) {
  for (const Done& done : std::exchange(waiting_, {})) {
    try {
      if (done) done(safe ? OX_RESULT{OX_OK} : OX_RESULT{OX_EWRITE});
    } catch (const std::bad_alloc&) {  // the others are to hear of it all the same
      log(Severity::error, "out of memory: collected data are not answered for");
    }
  }
}

}  // namespace ox::manager
