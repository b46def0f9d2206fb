#include "manager/requests/databases.h"

#include <oxbase/oxc.h>

#include "manager/base/paths.h"

namespace ox::manager {

bool check_databases(const std::string& folder, const FaultSink& faults, const Tell& tell) {
  bool sound = true;
  for (const DatabaseShape& shape : databases) {
    sound = check_database(join(folder, shape.name), shape.tables(), faults, tell) && sound;
  }
  return sound;
}

bool back_up(Snapshots& snapshots, const FaultSink& faults, const Tell& tell) {
  const std::string all = join(oxcGetWorkdir(), "backup");
  const std::string folder = dated(join(all, "data"));
  if (!ensure_directory(all) || !ensure_directory(folder)) {
    faults(folder, 0, "cannot be made");
    return false;
  }
  return snapshots.copy(folder, "", faults) && check_databases(folder, faults, tell);
}

}  // namespace ox::manager
