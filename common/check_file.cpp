#include <cerrno>
#include <string_view>

#include <oxbase/oxc.h>

#include "common/ascii.h"
#include "common/error_codes.h"
#include "common/paths.h"
#include "common/trace.h"
#include "platform/file.h"

namespace {

using ox::platform::FileAttributes;

enum : std::uint32_t {
  test_bits = 15,
  must_be_file = 1,
  must_be_directory = 2,
  must_be_program = 4,
  writable_bit = 16
};

// A program is known by what stands after the first "." of its name, so "a.b.exe" is none.
bool is_program(const char* path) noexcept {
  const std::string_view name = ox::file_name(path);
  const std::size_t dot = name.find('.');
  if (dot == std::string_view::npos) return false;
  for (const std::string_view known : {"EXE", "BAT", "COM", "CMD"}) {
    if (ox::equal_no_case(name.substr(dot + 1), known)) return true;
  }
  return false;
}

OX_RESULT test(const char* path, std::uint32_t mode, const FileAttributes& attributes) noexcept {
  switch (mode & test_bits) {
    case must_be_file:
      return attributes.directory ? OX_EISDIR : OX_OK;
    case must_be_directory:
      return attributes.directory ? OX_OK : OX_ENOTDIR;
    case must_be_program:
      return is_program(path) ? OX_OK : OX_ENOTEXEC;
    default:
      return OX_EARG;
  }
}

OX_RESULT check(const char* path, std::uint32_t mode) noexcept {
  if (path == nullptr) return OX_EARG;
  FileAttributes attributes;
  const ox::platform::Error error = ox::platform::file_attributes(path, attributes);
  // Not the general code of "file not found" (189): callers tell a missing file by the number of its errno.
  if (error == ox::platform::error_file_not_found || error == ox::platform::error_path_not_found) {
    return OX_ERRNO_BASE + ENOENT;
  }
  if (error != ox::platform::error_none) return ox::code_of_platform_error(error);
  const OX_RESULT result = test(path, mode, attributes);
  if (result != OX_OK) return result;
  return (mode & writable_bit) != 0 && attributes.read_only ? OX_ERRNO_BASE + EACCES : OX_OK;
}

}  // namespace

OX_RESULT OX_CALL oxcCheckFile(const char* path, uint32_t mode) {
  OX_ENTRY("oxcCheckFile", ":%s:%x", ox::trace::text(path), mode);
  return ox::traced("oxcCheckFile", [&] { return check(path, mode); });
}
