#include "manager/check_rights.h"

#include <oxbase/oxc.h>

#include "manager/base/paths.h"
#include "platform/file.h"
#include "platform/rights.h"

namespace ox::manager {
namespace {

using FileRights = platform::Rights;

struct Place {
  std::string path;
  FileRights rights;
  bool whole;  // with everything below
};

std::vector<Place> places() {
  const std::string root = oxcGetSystemRoot();
  const std::string work = oxcGetWorkdir();
  const std::string home = oxcGetHomedir();
  return {
      {root, FileRights::owner_writes, false},
      {join(root, "registry.reg"), FileRights::owner_writes, false},
      {join(root, "run"), FileRights::owner_writes, false},
      {join(root, "run", "own"), FileRights::owner_only, false},
      {join(root, "pipe"), FileRights::owner_writes, false},
      {join(root, "service"), FileRights::owner_writes, false},
      {join(root, "numbers"), FileRights::owner_only, false},
      {home, FileRights::owner_writes, false},
      {join(home, "LIB"), FileRights::owner_writes, true},
      {work, FileRights::owner_writes, false},
      {join(work, "conf"), FileRights::owner_writes, true},
      {join(work, "public"), FileRights::owner_writes, true},
      {join(work, "data"), FileRights::owner_only, false},
      {join(work, "backup"), FileRights::owner_only, false},
      {join(work, "tmp"), FileRights::group_adds, false},
  };
}

// Folders that are no links are gone into, where everything below counts.
bool check(const Place& place, const FaultSink& faults) {
  const platform::WrongRights wrong = platform::wrong_rights(place.path, place.rights);
  bool sound = wrong.fault.empty();
  if (!sound) faults(place.path, 0, wrong.fault + "; next: " + wrong.command);
  std::vector<platform::DirectoryEntry> entries;
  if (place.whole && !wrong.is_link) (void)platform::list_directory(place.path.c_str(), entries);
  for (const platform::DirectoryEntry& entry : entries) {
    sound = check({join(place.path, entry.name), place.rights, entry.attributes.directory}, faults) && sound;
  }
  return sound;
}

}  // namespace

bool check_rights(const FaultSink& faults) {
  bool sound = true;
  for (const Place& place : places()) sound = check(place, faults) && sound;
  return sound;
}

}  // namespace ox::manager
