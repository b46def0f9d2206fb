#include "manager/components/collected.h"

#include <algorithm>
#include <array>
#include <asio/post.hpp>
#include <new>
#include <unordered_map>
#include <utility>

#include "manager/base/log.h"
#include "manager/base/paths.h"

namespace ox::manager {
namespace {

constexpr std::array<std::string_view, 5> series_columns{"id", "text1", "text2", "bytes", "next"};
constexpr std::array<std::string_view, 4> record_columns{"id", "first", "second", "list"};
constexpr std::array all_tables{Table{"series", series_columns}, Table{"records", record_columns}};
enum : std::size_t { series_table, records_table };

constexpr std::uint64_t record_size = 12;  // beside its values
// A record's key begins with its series: what belongs together lies together.
constexpr int number_bits = 32;

std::uint64_t record_key(std::uint64_t series, std::uint64_t number) { return series << number_bits | number; }

}  // namespace

std::span<const Table> Collected::tables() { return all_tables; }

Collected::Collected(asio::io_context& loop, const std::string& directory, std::uint32_t max_size,
                     Durability durability)
    : loop_(loop),
      max_size_(max_size),
      database_(join(directory, "collected.db"), all_tables, durability,
                [this](const std::string& file, std::uint32_t line, const std::string& text) {
                  if (faults_) faults_(file, line, text);
                }) {}

bool Collected::open(FaultSink faults) {
  faults_ = std::move(faults);
  const Outcome opened = database_.open();
  if (opened == Outcome::refused) return false;
  return (opened == Outcome::done && load()) || renew();
}

// The records themselves may be many: the check beside the work looks at them.
bool Collected::load() {
  series_.clear();
  Query all(database_, series_table, "");
  const Outcome outcome = all.rows([&](const Row& row) {
    const Extent extent{row.number(3), row.number(4)};
    series_[{row.text(1), row.text(2)}] = {row.number(0), extent, extent};
    last_id_ = std::max(last_id_, row.number(0));
    return true;
  });
  return outcome == Outcome::done && series_.size() == database_.rows(series_table);
}

bool Collected::renew() { return database_.renew() && load() && recount(); }

// What is left of each series counts. Records whose series was lost stay; its number is not used again.
bool Collected::recount() {
  std::unordered_map<std::uint64_t, Extent> left;
  Statement sums(database_.connection(), "SELECT id >> " + std::to_string(number_bits) + ", sum(length(list) + " +
                                             std::to_string(record_size) +
                                             "), max(id) & 0xFFFFFFFF FROM records GROUP BY 1");
  const Outcome outcome = sums.begin().rows([&](const Row& row) {
    left[row.number(0)] = {row.number(1), row.number(2) + 1};
    last_id_ = std::max(last_id_, row.number(0));
    return true;
  });
  for (auto& entry : series_) {
    Series& series = entry.second;
    const Extent& found = left[series.id];
    series.now = {found.bytes, std::max(series.now.next, found.next)};
    touched_.push_back(&entry);
  }
  return write() && outcome == Outcome::done;
}

void Collected::check() {
  database_.check([this](const std::string& fault) {
    asio::post(loop_, [this, fault] {
      log(Severity::error, "the collected data are damaged: " + fault);
      if (scheduled_) commit();
      (void)renew();
    });
  });
}

// When memory runs out, nothing has changed, or the whole batch is refused.
void Collected::append(const Key& key, std::uint32_t first, std::uint32_t second, std::span<const std::byte> values,
                       Done done) {
  const auto known = series_.find(key);
  const std::uint64_t present = known != series_.end() ? known->second.now.bytes : 0;
  const std::uint64_t size = record_size + values.size();
  if (present + size > max_size_) return done(OX_EENCODEDLONG);
  AllSeries::value_type& entry = *series_.try_emplace(key).first;
  Series& series = entry.second;
  schedule();
  touched_.push_back(&entry);
  waiting_.emplace_back();
  if (series.id == 0) series.id = ++last_id_;
  database_.put(records_table, record_key(series.id, series.now.next), std::uint64_t{first}, std::uint64_t{second},
                values);
  series.now = {series.now.bytes + size, series.now.next + 1};
  waiting_.back() = std::move(done);
}

OX_RESULT Collected::size(const Key& key, std::uint32_t& bytes) const {
  const auto found = series_.find(key);
  if (found == series_.end() || found->second.safe.next == 0) return OX_ENOTFOUND;
  bytes = static_cast<std::uint32_t>(found->second.safe.bytes);
  return OX_OK;
}

void Collected::schedule() {
  if (scheduled_) return;
  asio::post(loop_, [this] {
    if (scheduled_) commit();
  });
  scheduled_ = true;
}

bool Collected::put_touched() {
  std::sort(touched_.begin(), touched_.end());
  touched_.erase(std::unique(touched_.begin(), touched_.end()), touched_.end());
  try {
    for (const auto* entry : touched_) {
      const auto& [key, series] = *entry;
      database_.put(series_table, series.id, key.text1, key.text2, series.now.bytes, series.now.next);
    }
  } catch (const std::bad_alloc&) {  // as if the disk had refused
    return false;
  }
  return true;
}

bool Collected::write() {
  const bool safe = database_.commit(put_touched());
  for (auto* entry : touched_) {
    Series& series = entry->second;
    (safe ? series.safe : series.now) = safe ? series.now : series.safe;
  }
  touched_.clear();
  return safe;
}

void Collected::commit() {
  scheduled_ = false;
  const bool safe = write();
  const auto waiting = std::exchange(waiting_, {});
  if (!safe && database_.is_damaged()) (void)renew();
  for (const Done& done : waiting) {
    try {
      if (done) done(safe ? OX_RESULT{OX_OK} : OX_RESULT{OX_EWRITE});
    } catch (const std::bad_alloc&) {  // the others are to hear of it all the same
      log(Severity::error, "out of memory: collected data are not answered for");
    }
  }
}

}  // namespace ox::manager
