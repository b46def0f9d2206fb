#include "manager/backup.h"

#include <oxbase/oxc.h>

#include "common/protocol.h"
#include "manager/at_work.h"
#include "manager/base/attributes.h"
#include "manager/base/paths.h"
#include "manager/requests/databases.h"
#include "platform/service.h"

namespace ox::manager {
namespace {

bool is_there(const std::string& file) { return oxcCheckFile(file.c_str(), 1) == OX_OK; }

bool put_in_place(const std::string& data, const char* name, const FaultSink& faults, const Tell& tell) {
  const std::string file = join(data, name);
  const std::string made = file + ".restored";
  std::string before;
  if (!is_there(made)) return true;
  if (!replace_database(file, made, before)) {
    faults(file, 0, "cannot be replaced; a manager that works on it must be ended first");
    return false;
  }
  tell(file + ": restored" + (is_there(before) ? "; what was there is " + before : ""));
  return true;
}

bool copy_back(const std::string& folder, const std::string& data, const FaultSink& faults) {
  Snapshots snapshots;
  if (!snapshots.take(folder, databases, faults)) return false;
  if (!snapshots.empty()) return snapshots.copy(data, ".restored", faults);
  faults(folder, 0, "there is no backup");
  return false;
}

// The events since the backup are gone, and their numbers have been given.
bool skip_numbers(const std::string& data, const FaultSink& faults) {
  EventStore events(data, Durability::power);
  return events.open(faults) && events.skip_given();
}

}  // namespace

bool back_up(const FaultSink& faults, const Tell& tell) {
  if (const auto told = ask_manager(backup_code, faults, tell)) return *told;
  Snapshots snapshots;
  return snapshots.take(join(oxcGetWorkdir(), "data"), databases, faults) && back_up(snapshots, faults, tell);
}

bool restore(const std::string& folder, const FaultSink& faults, const Tell& tell) {
  const std::string data = join(oxcGetWorkdir(), "data");
  platform::ServiceMark mark;
  if (mark.hold(service_name) != platform::error_none) {
    faults(data, 0, "a manager works on it; end that first");
    return false;
  }
  const auto quiet = [](const std::string&) {};
  if (!check_databases(folder, faults, quiet) || !ensure_directory(data) || !copy_back(folder, data, faults)) {
    return false;
  }
  for (const DatabaseShape& shape : databases) {
    if (!put_in_place(data, shape.name, faults, tell)) return false;
  }
  return skip_numbers(data, faults) && check_databases(data, faults, tell);
}

}  // namespace ox::manager
