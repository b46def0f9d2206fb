#include "platform/unlinked_file.h"

#include "platform/file.h"
#include "platform/windows/fail.h"

namespace ox::platform {

Error UnlinkedFile::open(const std::string& path) {
  FileAttributes attributes;
  if (const Error error = file_attributes(path.c_str(), attributes)) return error;
  if (attributes.directory) return fail(error_open_failed);
  name_ = path;
  return error_none;
}

UnlinkedFile::~UnlinkedFile() = default;

}  // namespace ox::platform
