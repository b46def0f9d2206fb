#include "manager/series/collected_file.h"

#include <algorithm>
#include <array>
#include <asio/post.hpp>
#include <new>
#include <utility>

#include "manager/base/paths.h"

namespace ox::manager {
namespace {

using Columns = std::string_view;

constexpr auto between_tries = std::chrono::seconds(1);
// A small commit writes several times what it is about, in pages.
constexpr auto longest_gathering = std::chrono::milliseconds(10);
constexpr std::size_t most_gathered = 64 << 10;

constexpr std::array<Columns, 5> series_columns{"id", "text1", "text2", "bytes", "next"};
constexpr std::array<Columns, 4> record_columns{"id", "first", "second", "list"};
constexpr std::array<Columns, 11> entry_columns{"id",  "name",   "owner", "state", "rounds", "last_due",
                                                "due", "stored", "gaps",  "bytes", "lost"};
constexpr std::array<Columns, 2> axis_columns{"id", "text"};
constexpr std::array<Columns, 4> cell_columns{"id", "component", "amib", "item"};
constexpr std::array<Columns, 5> chunk_columns{"id", "chunk", "series", "cells", "bytes"};
constexpr std::array<Columns, 3> block_columns{"id", "cells", "data"};
constexpr std::array<Columns, 4> staged_columns{"id", "entry", "segment", "data"};
constexpr std::array<Columns, 9> gap_columns{"id",    "component", "amib",   "item", "status",
                                             "first", "last",      "rounds", "cells"};
constexpr std::array all_tables{
    Table{"series", series_columns}, Table{"records", record_columns}, Table{"entries", entry_columns},
    Table{"axes", axis_columns},     Table{"cells", cell_columns},     Table{"chunks", chunk_columns},
    Table{"blocks", block_columns},  Table{"staged", staged_columns},  Table{"gaps", gap_columns},
};

}  // namespace

std::span<const Table> CollectedFile::tables() { return all_tables; }

CollectedFile::CollectedFile(asio::io_context& loop, const std::string& directory, Durability durability)
    : loop_(loop), database_(join(directory, "collected.db"), all_tables, durability), timer_(loop) {
  database_.on_back([this] {
    if (scheduled_) commit();
  });
}

bool CollectedFile::open(FaultSink faults) {
  const Outcome opened = database_.open(std::move(faults));
  if (opened == Outcome::refused) return false;
  bool usable = opened == Outcome::done && load(false);
  if (!usable) renew([&usable](bool renewed) { usable = renewed; });
  return usable;
}

bool CollectedFile::load(bool renewed) {
  return std::all_of(users_.begin(), users_.end(), [&](User* user) { return user->load(renewed); });
}

void CollectedFile::renew(const std::function<void(bool)>& done) {
  std::vector<Mend> menders;
  for (User* const user : users_) menders.push_back(user->mender());
  const auto mend = [menders](Connection& made) {
    return std::all_of(menders.begin(), menders.end(), [&made](const Mend& one) { return one(made); });
  };
  database_.renew([this, done](bool renewed) { done(renewed && load(true)); }, mend);
}

void CollectedFile::renew() {
  renew([this](bool) {
    if (scheduled_) commit();
  });
}

void CollectedFile::check() {
  database_.check(loop_, [this] {
    if (scheduled_) commit();
    renew();
  });
}

void CollectedFile::schedule() {
  if (scheduled_) return;
  asio::post(loop_, [this] {
    if (scheduled_ && !is_away()) commit();
  });
  scheduled_ = true;
}

void CollectedFile::schedule_soon(std::size_t bytes) {
  if (scheduled_) return;
  if (bytes >= most_gathered) return schedule();
  gathering_ = true;
  if (timer_is_set_) return;
  timer_.expires_after(longest_gathering);
  timer_.async_wait([this](const asio::error_code& error) {
    if (error) return;
    timer_is_set_ = false;
    if (gathering_) schedule();
  });
  timer_is_set_ = true;
}

void CollectedFile::finish() {
  if (scheduled_ || gathering_) commit();
}

bool CollectedFile::put() {
  try {
    return std::all_of(users_.begin(), users_.end(), [](User* user) { return user->put(); });
  } catch (const std::bad_alloc&) {  // as if the disk had refused
    return false;
  }
}

// What has gathered while the disk refused may be much: it is not written only to be refused in every turn.
bool CollectedFile::may_write() {
  const auto now = std::chrono::steady_clock::now();
  if (!refused_) return true;
  if (now < not_before_ || !database_.takes_changes()) return false;
  not_before_ = now + between_tries;
  return true;
}

void CollectedFile::commit() {
  if (database_.is_renewing()) return;
  scheduled_ = gathering_ = false;
  const bool safe = database_.commit(may_write() && put());
  refused_ = !safe;
  for (User* const user : users_) user->ended(safe);
  if (!safe && database_.is_damaged()) renew();
  for (User* const user : users_) user->answer(safe);
}

}  // namespace ox::manager
