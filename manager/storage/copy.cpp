#include "manager/storage/copy.h"

#include <sqlite3.h>

#include <ctime>

#include "manager/storage/salvage.h"
#include "manager/storage/sole_user.h"
#include "platform/file.h"

namespace ox::manager {
namespace {

constexpr int pages_of_step = 1000;

}  // namespace

bool exists(const std::string& path) {
  platform::FileAttributes attributes;
  return platform::file_attributes(path.c_str(), attributes) == platform::error_none;
}

Outcome Snapshot::take(const std::string& file) {
  if (const Outcome opened = connection_.open(file, Durability::process); opened != Outcome::done) return opened;
  return connection_.run("BEGIN; SELECT count(*) FROM sqlite_schema");  // the first read sets the moment
}

void Snapshot::break_off() noexcept {
  ending_ = true;
  if (connection_.is_open()) sqlite3_interrupt(connection_.get());
}

// The transaction that reads keeps all steps at its moment.
int Snapshot::copy_pages(Connection& copy) {
  sqlite3_backup* const backup = sqlite3_backup_init(copy.get(), "main", connection_.get(), "main");
  if (backup == nullptr) return sqlite3_errcode(copy.get());
  int state = SQLITE_OK;
  while (state == SQLITE_OK && !ending_) state = sqlite3_backup_step(backup, pages_of_step);
  const int finished = sqlite3_backup_finish(backup);
  return ending_ ? SQLITE_INTERRUPT : finished;
}

// Empty when it is there.
std::string Snapshot::copy_into(const std::string& to) {
  Connection copy;
  if (platform::make_private_file(to.c_str()) != platform::error_none ||
      copy.open(to, Durability::power) != Outcome::done) {
    return to + " cannot be made";
  }
  if (const int state = copy_pages(copy); state != SQLITE_OK) return sqlite3_errstr(state);
  return copy.run("PRAGMA wal_checkpoint(TRUNCATE)") == Outcome::done ? std::string() : copy.fault();
}

bool Snapshot::copy(const std::string& to, std::string& why) {
  why = copy_into(to);
  if (!why.empty()) remove_database(to);
  for (const char* tail : {"-wal", "-shm"}) (void)platform::remove_file((to + tail).c_str());
  return why.empty();
}

std::string dated(const std::string& file) {
  const std::time_t now = std::time(nullptr);
  char text[32];
  (void)std::strftime(text, sizeof text, ".%Y%m%d-%H%M%S", std::gmtime(&now));
  std::string name = file + text;
  for (int i = 2; exists(name) || exists(name + "-wal"); ++i) name = file + text + '-' + std::to_string(i);
  return name;
}

bool replace_database(const std::string& file, const std::string& made, std::string& name) {
  name = dated(file);
  for (const char* tail : {"", "-wal"}) {
    if (!exists(file + tail)) continue;
    if (platform::rename_file((file + tail).c_str(), (name + tail).c_str()) != platform::error_none) return false;
    give_up_name(file + tail);
  }
  (void)platform::remove_file((file + "-shm").c_str());  // made of the log at every opening
  return platform::rename_file(made.c_str(), file.c_str()) == platform::error_none;
}

}  // namespace ox::manager
