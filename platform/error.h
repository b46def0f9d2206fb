// Platform error numbers, in the Windows numbering on every platform.
#pragma once

#include <cstdint>

namespace ox::platform {

// 0 for success, else one of these or another number of the platform.
using Error = std::uint32_t;

enum : Error {
  error_none = 0,
  error_file_not_found = 2,
  error_path_not_found = 3,
  error_access_denied = 5,
  error_invalid_handle = 6,
  error_quota = 8,  // not enough memory for the command; a full message queue
  error_out_of_memory = 14,
  error_current_directory = 16,
  error_no_more_files = 18,
  error_write_protected = 19,
  error_sharing_violation = 32,
  error_not_supported = 50,
  error_file_exists = 80,
  error_invalid_parameter = 87,
  error_broken_pipe = 109,
  error_open_failed = 110,
  error_disk_full = 112,
  error_timeout = 121,
  error_invalid_name = 123,
  error_directory_not_empty = 145,
  error_already_exists = 183,
  error_pipe_busy = 231,
  error_no_data = 232,  // the pipe is being closed
  error_pipe_not_connected = 233,
  error_more_data = 234,
  error_stopped_on_link = 681,  // where none is followed
  error_file_invalid = 1006,
  error_no_such_service = 1060,
};

// The calling thread's last error number. Every failing call of this folder sets it to what it returns; code that
// fails by other means sets it itself.
[[nodiscard]] Error last_error() noexcept;
void set_last_error(Error error) noexcept;

// The platform error number of a C runtime errno.
[[nodiscard]] Error error_of_errno(int value) noexcept;

}  // namespace ox::platform
