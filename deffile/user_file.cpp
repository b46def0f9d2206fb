#include "deffile/user_file.h"

#include <cerrno>
#include <string>

#include "common/paths.h"
#include "deffile/entry_writer.h"
#include "platform/file.h"

namespace ox {
namespace {

OX_RESULT write_all(const std::string& path, std::span<const oxcConfigEntry* const> entries) {
  OX_RESULT result = open_for_writing(path.c_str(), "w");
  if (result != OX_OK) return result;
  for (const oxcConfigEntry* entry : entries) {
    result = write_entry(*entry);
    if (result != OX_OK) break;
  }
  const OX_RESULT closed = close_after_writing();
  return result != OX_OK ? result : closed;
}

// In one step, so that readers see the old file or the new one, and a crash leaves one of them. It fails for what
// keeps the old file from being deleted; without an old one, for what keeps the name from being taken.
OX_RESULT put_in_place(const std::string& temporary, const std::string& path, bool exists) {
  if (exists) {
    return platform::replace_file(temporary.c_str(), path.c_str()) == platform::error_none ? OX_OK : OX_EDELETE;
  }
  return platform::rename_file(temporary.c_str(), path.c_str()) == platform::error_none ? OX_OK : OX_ERENAME;
}

OX_RESULT remove_both(const std::string& temporary, const std::string& path, bool exists) {
  if (exists && platform::remove_file(path.c_str()) != platform::error_none) return OX_EDELETE;
  return platform::remove_file(temporary.c_str()) == platform::error_none ? OX_OK : OX_EDELETE;
}

bool is_empty(const std::string& path) noexcept {
  platform::FileAttributes attributes;
  return platform::file_attributes(path.c_str(), attributes) == platform::error_none && attributes.size == 0;
}

}  // namespace

OX_RESULT rewrite_user_file(std::string_view definition_directory, std::span<const oxcConfigEntry* const> entries) {
  const std::string path = work_path({definition_directory, "user.def"});
  const std::string temporary = work_path({definition_directory, "user.tmp"});
  if (path.size() >= max_path) return OX_ENAMELONG;
  const OX_RESULT check = oxcCheckFile(path.c_str(), 1);
  const bool exists = check == OX_OK;
  if (!exists && check != OX_ERRNO_BASE + ENOENT) return check;

  OX_RESULT result = write_all(temporary, entries);
  if (result == OX_OK) {
    result = is_empty(temporary) ? remove_both(temporary, path, exists) : put_in_place(temporary, path, exists);
  }
  if (result != OX_OK) (void)platform::remove_file(temporary.c_str());
  return result;
}

}  // namespace ox
