#include "common/error_codes.h"

#include <cerrno>

#include <oxbase/oxc.h>

#include "common/context.h"
#include "common/trace.h"

namespace ox {
namespace {

struct Row {
  platform::Error error;
  OX_RESULT code;
};

constexpr Row rows[] = {
    {platform::error_none, OX_OK},
    {platform::error_file_not_found, OX_EFILENOTFOUND},
    {platform::error_access_denied, OX_EDENIED},
    {platform::error_write_protected, OX_EWRITE},
    {platform::error_current_directory, OX_EBUSYDIR},
    {platform::error_out_of_memory, OX_ENOMEM},
    {platform::error_directory_not_empty, OX_EBUSYDIR},
    {platform::error_open_failed, OX_EOPEN},
    {platform::error_already_exists, OX_EEXISTS},
    {platform::error_file_invalid, OX_EINDEXFILE},
};

constexpr int last_coded_errno = 34;  // the C runtimes agree on the numbers up to here

struct KeptError {
  platform::Error number;
};

// The thread's kept error, null when memory ran out on the thread's first use.
KeptError* kept_error() noexcept {
  try {
    return &context<KeptError>();
  } catch (...) {
    return nullptr;
  }
}

OX_RESULT code_of_errno(int number) noexcept {
  if (number == 0) return OX_OK;
  if (number > 0 && number <= last_coded_errno) return OX_ERRNO_BASE + static_cast<OX_RESULT>(number);
  OX_TRACE(trace::general, "<X:oxcGetCRunError[%d]>\n", number);
  return OX_ERUNTIME;
}

}  // namespace

OX_RESULT untraced_code_of_platform_error(platform::Error error) noexcept {
  if (KeptError* kept = kept_error()) kept->number = error;
  for (const Row& row : rows) {
    if (row.error == error) return row.code;
  }
  return OX_EPLATFORM;
}

OX_RESULT code_of_platform_error(platform::Error error) noexcept {
  const OX_RESULT code = untraced_code_of_platform_error(error);
  if (code == OX_EPLATFORM) OX_TRACE(trace::general, "<X:oxcGetWinError[%ld]>\n", trace::number(error));
  return code;
}

platform::Error last_kept_platform_error() noexcept {
  const KeptError* kept = kept_error();
  return kept != nullptr ? kept->number : platform::Error{platform::error_none};
}

}  // namespace ox

OX_RESULT OX_CALL oxcGetWinError(void) {
  const ox::platform::Error error = ox::platform::last_error();  // the trace's own calls may change it
  OX_ENTRY("oxcGetWinError", "");
  return ox::traced("oxcGetWinError", [&] { return ox::code_of_platform_error(error); });
}

OX_RESULT OX_CALL oxcGetCRunError(void) {
  const int number = errno;  // the trace's own calls may change it
  OX_ENTRY("oxcGetCRunError", "");
  return ox::traced("oxcGetCRunError", [&] { return ox::code_of_errno(number); });
}
