#include "manager/base/file_list.h"

#include <oxbase/oxf.h>

namespace ox::manager {

std::vector<std::string> definition_files(const std::string& directory, const FaultSink& faults, bool& sound) {
  std::vector<std::string> files;
  if (oxcCheckFile(directory.c_str(), 2) == OX_ERRNO_BASE + 2) return files;
  oxfFileList* list = nullptr;
  if (const OX_RESULT result = oxfGetFileList(directory.c_str(), ".def", 0, &list)) {
    faults(directory, 0, oxcStrError(result));
    sound = false;
    return files;
  }
  for (const oxfFileList* file = list; file != nullptr; file = oxfGetFileNext(file)) {
    files.emplace_back(oxfGetFileName(file));
  }
  (void)oxfFileListFree(list);
  return files;
}

}  // namespace ox::manager
