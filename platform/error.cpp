#include "platform/error.h"

#include <cerrno>

namespace ox::platform {
namespace {

// Apart from the system's own number, which calls that succeed overwrite too.
thread_local Error thread_error = error_none;

struct Row {
  int errno_value;
  Error error;
};

constexpr Row rows[] = {
    {0, error_none},
    {ENOENT, error_file_not_found},
    {ENOTDIR, error_path_not_found},
    {EACCES, error_access_denied},
    {EPERM, error_access_denied},
    {EISDIR, error_access_denied},
    {ELOOP, error_access_denied},  // a link where none is followed
    {EBADF, error_invalid_handle},
    {ENOMEM, error_out_of_memory},
    {EROFS, error_write_protected},
    {EAGAIN, error_sharing_violation},
    {EBUSY, error_sharing_violation},
    {ETXTBSY, error_sharing_violation},
    {EINVAL, error_invalid_parameter},
    {EPIPE, error_broken_pipe},
    {ECONNRESET, error_broken_pipe},
    {ENOTCONN, error_pipe_not_connected},
    {ENOSPC, error_disk_full},
#ifdef EDQUOT
    {EDQUOT, error_disk_full},
#endif
    {ETIMEDOUT, error_timeout},
    {ENAMETOOLONG, error_invalid_name},
    {ENOTEMPTY, error_directory_not_empty},
    {EEXIST, error_already_exists},
    {ECONNREFUSED, error_file_not_found},
};

}  // namespace

Error last_error() noexcept { return thread_error; }
void set_last_error(Error error) noexcept { thread_error = error; }

Error error_of_errno(int value) noexcept {
  for (const Row& row : rows) {
    if (row.errno_value == value) return row.error;
  }
  return error_open_failed;
}

}  // namespace ox::platform
