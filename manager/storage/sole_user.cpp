// Files are the database library's own in all but the locks of a log's index.
#include "manager/storage/sole_user.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <utility>

#include "platform/file.h"

namespace ox::manager {
namespace {

// The index of one log. A lock is shared by so many, or held by one alone.
struct Log {
  static constexpr int alone = -1;
  std::array<int, SQLITE_SHM_NLOCK> holders{};
  int maps = 0;       // of the index
  bool ours = false;  // the system has given all locks to this process; it takes them back with the last map
};
using Logs = std::map<std::string, std::weak_ptr<Log>>;

// What a connection has, behind the library's own file.
struct Part {
  std::shared_ptr<Log> log;
  bool maps = false;
  std::array<bool, SQLITE_SHM_NLOCK> shares{};
  std::array<bool, SQLITE_SHM_NLOCK> alone{};
};

std::mutex mutex;
Logs& logs = *new Logs;  // connections may outlive what is made later

sqlite3_vfs* system_files = nullptr;
sqlite3_vfs own_files{};
const sqlite3_io_methods* system_methods = nullptr;
sqlite3_io_methods own_methods{};

constexpr std::size_t part_align = alignof(Part);
std::size_t part_at() {
  const auto size = static_cast<std::size_t>(system_files->szOsFile);
  return (size + part_align - 1) / part_align * part_align;
}
Part& part_of(sqlite3_file* file) { return *reinterpret_cast<Part*>(reinterpret_cast<char*>(file) + part_at()); }

int lock_shared(Part& part, std::size_t lock) {
  int& holders = part.log->holders[lock];
  if (part.shares[lock]) return SQLITE_OK;
  if (holders == Log::alone) return SQLITE_BUSY;
  ++holders;
  part.shares[lock] = true;
  return SQLITE_OK;
}

int lock_alone(Part& part, std::size_t first, std::size_t end) {
  auto& holders = part.log->holders;
  for (std::size_t i = first; i < end; ++i) {
    if (holders[i] != 0) return SQLITE_BUSY;
  }
  for (std::size_t i = first; i < end; ++i) {
    holders[i] = Log::alone;
    part.alone[i] = true;
  }
  return SQLITE_OK;
}

void unlock(Part& part, std::size_t first, std::size_t end) {
  auto& holders = part.log->holders;
  for (std::size_t i = first; i < end; ++i) {
    if (std::exchange(part.shares[i], false)) --holders[i];
    if (std::exchange(part.alone[i], false)) holders[i] = 0;
  }
}

int lock(sqlite3_file* file, int from, int count, int flags) {
  const std::scoped_lock hold(mutex);
  Part& part = part_of(file);
  Log& log = *part.log;
  const auto first = static_cast<std::size_t>(from);
  const std::size_t end = first + static_cast<std::size_t>(count);
  if ((flags & SQLITE_SHM_UNLOCK) != 0) {
    unlock(part, first, end);
    return SQLITE_OK;
  }
  if (!log.ours) {
    const int state = system_methods->xShmLock(file, 0, SQLITE_SHM_NLOCK, SQLITE_SHM_LOCK | SQLITE_SHM_EXCLUSIVE);
    // The bare code would be tried again for a quarter of a minute.
    if (state != SQLITE_OK) return state == SQLITE_BUSY ? SQLITE_BUSY_RECOVERY : state;
    log.ours = true;
  }
  return (flags & SQLITE_SHM_SHARED) != 0 ? lock_shared(part, first) : lock_alone(part, first, end);
}

int map(sqlite3_file* file, int page, int size, int extend, void volatile** at) {
  const std::scoped_lock hold(mutex);
  Part& part = part_of(file);
  if (!std::exchange(part.maps, true)) ++part.log->maps;
  return system_methods->xShmMap(file, page, size, extend, at);
}

int unmap(sqlite3_file* file, int remove) {
  const std::scoped_lock hold(mutex);
  Part& part = part_of(file);
  Log& log = *part.log;
  unlock(part, 0, log.holders.size());
  if (std::exchange(part.maps, false) && --log.maps == 0) log.ours = false;
  return system_methods->xShmUnmap(file, remove);
}

int close(sqlite3_file* file) {
  {
    const std::scoped_lock hold(mutex);
    Part& part = part_of(file);
    part.~Part();
    std::erase_if(logs, [](const auto& known) { return known.second.expired(); });
  }
  return system_methods->xClose(file);
}

void take_methods(sqlite3_file* file) {
  if (system_methods == nullptr) {
    system_methods = file->pMethods;
    own_methods = *system_methods;
    own_methods.xShmLock = &lock;
    own_methods.xShmMap = &map;
    own_methods.xShmUnmap = &unmap;
    own_methods.xClose = &close;
  }
  file->pMethods = &own_methods;
}

int open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* opened) {
  const int state = system_files->xOpen(system_files, name, file, flags, opened);
  if (state != SQLITE_OK || (flags & SQLITE_OPEN_MAIN_DB) == 0) return state;
  const std::scoped_lock hold(mutex);
  try {
    std::weak_ptr<Log>& known = logs[name];
    auto log = known.lock();
    if (!log) known = log = std::make_shared<Log>();
    new (&part_of(file)) Part{std::move(log)};
  } catch (const std::bad_alloc&) {
    (void)file->pMethods->xClose(file);
    file->pMethods = nullptr;
    return SQLITE_NOMEM;
  }
  take_methods(file);
  return SQLITE_OK;
}

bool make_known() {
  system_files = sqlite3_vfs_find(nullptr);
  own_files = *system_files;
  own_files.zName = "oxbase";
  own_files.xOpen = &open;
  own_files.szOsFile = static_cast<int>(part_at() + sizeof(Part));
  return sqlite3_vfs_register(&own_files, 0) == SQLITE_OK;
}

}  // namespace

const char* sole_user_files() {
  static const bool known = make_known();
  return known ? own_files.zName : nullptr;
}

void give_up_name(const std::string& file) {
  if (sole_user_files() == nullptr) return;
  std::string whole(static_cast<std::size_t>(own_files.mxPathname) + 1, '\0');
  const std::string given = platform::utf8_path(file.c_str());
  const int state = system_files->xFullPathname(system_files, given.c_str(), own_files.mxPathname + 1, whole.data());
  if ((state & 0xFF) != SQLITE_OK) return;
  const std::scoped_lock hold(mutex);
  logs.erase(whole.c_str());
}

}  // namespace ox::manager
