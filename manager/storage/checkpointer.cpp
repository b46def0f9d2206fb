#include "manager/storage/checkpointer.h"

#include <sqlite3.h>

#include <algorithm>
#include <new>
#include <system_error>

namespace ox::manager {
namespace {

constexpr int pages_to_move = 1000;  // 4 KiB each, behind the first
constexpr int most_pages = 8000;     // before the first: a page that is changed again meanwhile is moved once
constexpr int few_pages = 100;
constexpr int most_passes = 5;

}  // namespace

bool Checkpointer::grown(int pages) {
  if (pages < asked_at_) asked_at_ = 0;  // the log has begun anew
  if (busy_) return false;
  if (passed_.exchange(false) && pages > most_pages) return true;
  if (pages < std::max(most_pages, asked_at_ + pages_to_move)) return false;
  asked_at_ = pages;
  start();
  return false;
}

// Goes on while commits have added more than a few pages meanwhile. False when more are left: a reader needs them.
bool Checkpointer::move(Connection& connection) {
  int left = few_pages + 1;
  for (int i = 0; i < most_passes && left > few_pages; ++i) {
    int all = 0;
    int moved = 0;
    const int state = sqlite3_wal_checkpoint_v2(connection.get(), nullptr, SQLITE_CHECKPOINT_PASSIVE, &all, &moved);
    if (state != SQLITE_OK) return false;
    left = all - moved;
  }
  return left <= few_pages;
}

// A log begins anew with the next commit: of the format's number as it is, where that can be read.
void Checkpointer::begin_anew(Connection& connection) {
  (void)sqlite3_wal_checkpoint_v2(connection.get(), nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
  const std::uint64_t format = connection.ask("PRAGMA user_version");
  if (format != 0) (void)connection.run(("PRAGMA user_version = " + std::to_string(format)).c_str());
}

void Checkpointer::start() {
  try {
    if (!thread_.joinable()) thread_ = std::thread([this] { run(); });
  } catch (const std::system_error&) {
    return;  // the next time
  }
  busy_ = true;
  const std::scoped_lock lock(mutex_);
  wanted_ = true;
  wanted_changed_.notify_one();
}

void Checkpointer::stop() {
  if (!thread_.joinable()) return;
  {
    const std::scoped_lock lock(mutex_);
    ending_ = true;
    wanted_changed_.notify_one();
  }
  thread_.join();
  wanted_ = ending_ = busy_ = passed_ = false;
  asked_at_ = 0;
}

void Checkpointer::run() {
  Connection connection;
  std::unique_lock lock(mutex_);
  for (;;) {
    wanted_changed_.wait(lock, [this] { return wanted_ || ending_; });
    if (ending_) return;
    wanted_ = false;
    lock.unlock();
    try {
      const bool open = connection.is_open() || connection.open(file_, Durability::process) == Outcome::done;
      passed_ = open && move(connection);
    } catch (const std::bad_alloc&) {  // the next time
    }
    busy_ = false;
    lock.lock();
  }
}

}  // namespace ox::manager
