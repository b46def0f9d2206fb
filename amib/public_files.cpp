#include "amib/public_files.h"

#include <cerrno>
#include <cstring>
#include <functional>
#include <memory>

#include <oxbase/oxb.h>
#include <oxbase/oxf.h>

#include "common/paths.h"
#include "common/trace.h"
#include "platform/file.h"

namespace ox::amib {
namespace {

// What is added to the work directory: "\public\amib\*.enm" and the terminator.
constexpr std::size_t added = 18;

using FileListPtr = std::unique_ptr<oxfFileList, decltype([](oxfFileList* list) { (void)oxfFileListFree(list); })>;

OX_RESULT list_files(const char* extension, oxfFileList** list) {
  const char* work = oxcGetWorkdir();
  if (*work == '\0') return OX_ENOSESSION;
  if (std::strlen(work) + added >= max_path) return OX_ENAMELONG;
  const std::string directory = work_path({"public", "amib"});
  if (oxcCheckFile(directory.c_str(), 2) == OX_ERRNO_BASE + ENOENT) {
    *list = nullptr;
    return OX_OK;
  }
  return oxfGetFileList(directory.c_str(), extension, 0, list);
}

}  // namespace

OX_RESULT list_public_files(const char* extension, std::vector<std::string>& files) {
  oxfFileList* list = nullptr;
  if (const OX_RESULT result = list_files(extension, &list); result != OX_OK) return result;
  const FileListPtr owner(list);
  for (const oxfFileList* file = list; file != nullptr; file = oxfGetFileNext(file)) {
    files.emplace_back(oxfGetFileName(file));
  }
  return OX_OK;
}

std::uint64_t stamp_of(const std::vector<std::string>& files) {
  std::string all;
  for (const std::string& file : files) {
    platform::FileAttributes attributes;
    (void)platform::file_attributes(file.c_str(), attributes);
    all += file + '\n' + std::to_string(attributes.size) + ' ' + std::to_string(attributes.modified) + '\n';
  }
  return std::hash<std::string>()(all);
}

}  // namespace ox::amib

OX_RESULT OX_CALL oxbGetAmibFiles(const char* extension, oxfFileList** list) {
  OX_ENTRY("oxbGetAmibFiles", ":%s:%x", ox::trace::text(extension), ox::trace::word(list));
  return ox::traced("oxbGetAmibFiles", [&]() -> OX_RESULT {
    if (extension == nullptr || list == nullptr) return OX_EARG;
    return ox::amib::list_files(extension, list);
  });
}
