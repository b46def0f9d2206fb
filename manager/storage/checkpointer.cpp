#include "manager/storage/checkpointer.h"

#include <sqlite3.h>

#include <new>
#include <system_error>

namespace ox::manager {
namespace {

constexpr int pages_to_move = 1000;  // 4 KiB each
constexpr int most_pages = 8000;

}  // namespace

bool Checkpointer::grown(int pages) {
  if (pages < asked_at_) asked_at_ = 0;  // the log has begun anew
  if (busy_ || pages < asked_at_ + pages_to_move) return false;
  asked_at_ = pages;
  start();
  return pages > most_pages;
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
  wanted_ = ending_ = busy_ = false;
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
      if (connection.is_open() || connection.open(file_, Durability::process) == Outcome::done) {
        (void)sqlite3_wal_checkpoint_v2(connection.get(), nullptr, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
      }
    } catch (const std::bad_alloc&) {  // the next time
    }
    busy_ = false;
    lock.lock();
  }
}

}  // namespace ox::manager
