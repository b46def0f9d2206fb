#include "manager/requests/databases.h"

#include <oxbase/oxc.h>

#include "manager/base/paths.h"
#include "platform/file.h"

namespace ox::manager {

bool check_databases(const std::string& folder, const FaultSink& faults, const Tell& tell) {
  bool sound = true;
  for (const DatabaseShape& shape : databases) {
    sound = check_database(join(folder, shape.name), shape.tables(), faults, tell, shape.own) && sound;
  }
  return sound;
}

bool back_up(Snapshots& snapshots, const FaultSink& faults, const Tell& tell) {
  const std::string all = join(oxcGetWorkdir(), "backup");
  const std::string folder = dated(join(all, "data"));
  const std::string unfinished = folder + ".unfinished";
  if (!ensure_directory(all) || !ensure_directory(unfinished)) {
    faults(unfinished, 0, "cannot be made");
    return false;
  }
  if (!snapshots.copy(unfinished, "", faults)) return false;
  if (platform::rename_file(unfinished.c_str(), folder.c_str()) != platform::error_none) {
    faults(unfinished, 0, "cannot be renamed to " + folder);
    return false;
  }
  return check_databases(folder, faults, tell);
}

}  // namespace ox::manager
