// Locks of an open file: they last until its last descriptor is closed, with the process at the latest. Unlike those of
// flock they can be asked about without being taken, and change between shared and alone in one step.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace ox::platform {

// Type F_RDLCK or F_WRLCK, which needs a file that is open for reading or writing. Does not wait: false, and EAGAIN
// when another open file's lock is in the way.
[[nodiscard]] inline bool lock_file(int fd, short type) noexcept {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  return ::fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

// Whether another open file holds a lock for writing: only who may write the file can. False, with errno, also when
// that cannot be told.
[[nodiscard]] inline bool is_written_elsewhere(int fd) noexcept {
  struct flock lock {};
  lock.l_type = F_RDLCK;
  lock.l_whence = SEEK_SET;
  errno = 0;
  return ::fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

// Whether another open file holds a lock of either type. False, with errno, also when that cannot be told.
[[nodiscard]] inline bool is_locked_elsewhere(int fd) noexcept {
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  errno = 0;
  return ::fcntl(fd, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

}  // namespace ox::platform
