#include "manager/storage/copy.h"

#include <sqlite3.h>

#include <ctime>

#include "manager/storage/connection.h"
#include "manager/storage/salvage.h"
#include "platform/file.h"

namespace ox::manager {
namespace {

bool exists(const std::string& path) {
  platform::FileAttributes attributes;
  return platform::file_attributes(path.c_str(), attributes) == platform::error_none;
}

// All pages in one step: they are of one moment.
int copy_pages(Connection& source, Connection& copy) {
  sqlite3_backup* const backup = sqlite3_backup_init(copy.get(), "main", source.get(), "main");
  if (backup == nullptr) return sqlite3_errcode(copy.get());
  (void)sqlite3_backup_step(backup, -1);
  return sqlite3_backup_finish(backup);
}

bool copy_into(const std::string& from, const std::string& to, std::string& why) {
  Connection source;
  Connection copy;
  if (source.open(from, Durability::process) != Outcome::done) {
    why = source.fault();
  } else if (platform::make_private_file(to.c_str()) != platform::error_none ||
             copy.open(to, Durability::power) != Outcome::done) {
    why = to + " cannot be made";
  } else if (const int state = copy_pages(source, copy); state != SQLITE_OK) {
    why = sqlite3_errstr(state);
  } else if (copy.run("PRAGMA wal_checkpoint(TRUNCATE)") != Outcome::done) {
    why = copy.fault();
  }
  return why.empty();
}

}  // namespace

bool copy_database(const std::string& from, const std::string& to, std::string& why) {
  why.clear();
  const bool copied = copy_into(from, to, why);
  if (!copied) remove_database(to);
  for (const char* tail : {"-wal", "-shm"}) (void)platform::remove_file((to + tail).c_str());
  return copied;
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
  }
  (void)platform::remove_file((file + "-shm").c_str());  // made of the log at every opening
  return platform::rename_file(made.c_str(), file.c_str()) == platform::error_none;
}

}  // namespace ox::manager
