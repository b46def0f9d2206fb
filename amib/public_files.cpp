#include "amib/public_files.h"

#include <cerrno>
#include <cstring>

#include <oxbase/oxf.h>

#include "common/paths.h"

namespace ox::amib {
namespace {

// What is added to the work directory: "\public\amib\*.enm" and the terminator.
constexpr std::size_t added = 18;

}  // namespace

OX_RESULT list_public_files(const char* extension, std::vector<std::string>& files) {
  const char* work = oxcGetWorkdir();
  if (*work == '\0') return OX_ENOSESSION;
  if (std::strlen(work) + added >= max_path) return OX_ENAMELONG;
  const std::string directory = work_path({"public", "amib"});
  if (oxcCheckFile(directory.c_str(), 2) == OX_ERRNO_BASE + ENOENT) return OX_OK;
  oxfFileList* list = nullptr;
  if (const OX_RESULT result = oxfGetFileList(directory.c_str(), extension, 0, &list); result != OX_OK) return result;
  const struct Release {
    oxfFileList* list;
    ~Release() { (void)oxfFileListFree(list); }
  } release{list};
  for (const oxfFileList* file = list; file != nullptr; file = oxfGetFileNext(file)) {
    files.emplace_back(oxfGetFileName(file));
  }
  return OX_OK;
}

}  // namespace ox::amib
