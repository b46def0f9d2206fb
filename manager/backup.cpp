#include "manager/backup.h"

#include <array>

#include <oxbase/oxc.h>

#include "common/protocol.h"
#include "manager/base/paths.h"
#include "manager/check.h"
#include "manager/events/store.h"
#include "manager/storage/copy.h"
#include "platform/service.h"

namespace ox::manager {
namespace {

constexpr std::array names{"components.db", "events.db", "collected.db"};

bool is_there(const std::string& file) { return oxcCheckFile(file.c_str(), 1) == OX_OK; }

bool copy_all(const std::string& from, const std::string& to, const std::string& tail, const FaultSink& faults) {
  for (const char* name : names) {
    std::string why;
    const std::string source = join(from, name);
    if (!is_there(source) || copy_database(source, join(to, name) + tail, why)) continue;
    faults(source, 0, "cannot be copied: " + why);
    return false;
  }
  return true;
}

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

// The events since the backup are gone, and their numbers have been given.
bool skip_numbers(const std::string& data, const FaultSink& faults) {
  EventStore events(data, Durability::power);
  return events.open(faults) && events.skip_given();
}

}  // namespace

bool back_up(const FaultSink& faults, const Tell& tell) {
  const std::string all = join(oxcGetWorkdir(), "backup");
  const std::string folder = dated(join(all, "data"));
  if (!ensure_directory(all) || !ensure_directory(folder)) {
    faults(folder, 0, "cannot be made");
    return false;
  }
  return copy_all(join(oxcGetWorkdir(), "data"), folder, "", faults) && check_databases(folder, faults, tell);
}

bool restore(const std::string& folder, const FaultSink& faults, const Tell& tell) {
  const std::string data = join(oxcGetWorkdir(), "data");
  platform::ServiceMark mark;
  if (mark.hold(service_name) != platform::error_none) {
    faults(data, 0, "a manager works on it; end that first");
    return false;
  }
  if (!is_there(join(folder, names[0])) && !is_there(join(folder, names[1]))) {
    faults(folder, 0, "there is no backup");
    return false;
  }
  const auto quiet = [](const std::string&) {};
  if (!check_databases(folder, faults, quiet) || !ensure_directory(data) ||
      !copy_all(folder, data, ".restored", faults)) {
    return false;
  }
  for (const char* name : names) {
    if (!put_in_place(data, name, faults, tell)) return false;
  }
  return skip_numbers(data, faults) && check_databases(data, faults, tell);
}

}  // namespace ox::manager
