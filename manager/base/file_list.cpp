#include "manager/base/file_list.h"

#include <oxbase/oxb.h>
#include <oxbase/oxf.h>

namespace ox::manager {
namespace {

// Releases the list. A listing that failed is the folder's fault.
std::vector<std::string> files_of(OX_RESULT listed, oxfFileList* list, const std::string& directory,
                                  const FaultSink& faults, bool& sound) {
  std::vector<std::string> files;
  if (listed != OX_OK) {
    faults(directory, 0, oxcStrError(listed));
    sound = false;
    return files;
  }
  for (const oxfFileList* file = list; file != nullptr; file = oxfGetFileNext(file)) {
    files.emplace_back(oxfGetFileName(file));
  }
  (void)oxfFileListFree(list);
  return files;
}

}  // namespace

std::vector<std::string> definition_files(const std::string& directory, const FaultSink& faults, bool& sound) {
  if (oxcCheckFile(directory.c_str(), 2) == OX_ERRNO_BASE + 2) return {};
  oxfFileList* list = nullptr;
  const OX_RESULT listed = oxfGetFileList(directory.c_str(), ".def", 0, &list);
  return files_of(listed, list, directory, faults, sound);
}

std::vector<std::string> amib_files(const std::string& directory, const FaultSink& faults, bool& sound) {
  oxfFileList* list = nullptr;
  const OX_RESULT listed = oxbGetAmibFiles(".def", &list);
  return files_of(listed, list, directory, faults, sound);
}

}  // namespace ox::manager
