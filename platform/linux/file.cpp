#include "platform/file.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"
#include "platform/own_file.h"

namespace ox::platform {
namespace {

constexpr std::uint32_t access_read = 0x80000000U;
constexpr std::uint32_t access_write = 0x40000000U;
enum Disposition : std::uint32_t { create_new = 1, create_always, open_existing, open_always, truncate_existing };

void fill(const char* name, const struct stat& status, FileAttributes& attributes) noexcept {
  attributes = FileAttributes{};
  attributes.directory = S_ISDIR(status.st_mode);
  attributes.read_only = (status.st_mode & 0222) == 0;
  attributes.hidden = name[0] == '.' && name[1] != '\0';
  // Devices, sockets and named pipes: opening one of them may block or do something.
  attributes.system = !attributes.directory && !S_ISREG(status.st_mode);
  attributes.size = status.st_size > 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
  attributes.modified = static_cast<std::uint64_t>(status.st_mtim.tv_sec) * 1'000'000'000 +
                        static_cast<std::uint64_t>(status.st_mtim.tv_nsec);
}

const char* last_component(const char* path) noexcept {
  const char* slash = std::strrchr(path, '/');
  return slash != nullptr ? slash + 1 : path;
}

// Opens the file, locks it and only then empties it: what another opener holds is not touched. The lock is on the
// file that the path names at the end, in case it was replaced meanwhile.
Descriptor open_locked(const char* path, int flags, int lock, bool truncate) noexcept {
  for (;;) {
    Descriptor file(retry([&] { return ::open(path, flags | O_CLOEXEC, 0666); }));
    if (!file) return file;
    if (::flock(file.get(), lock | LOCK_NB) != 0) {
      file.close();
      errno = EBUSY;
      return file;
    }
    struct stat opened {};
    struct stat named {};
    if (::fstat(file.get(), &opened) != 0) return {};
    if (::stat(path, &named) != 0 || named.st_ino != opened.st_ino || named.st_dev != opened.st_dev) continue;
    if (truncate && opened.st_size != 0 && ::ftruncate(file.get(), 0) != 0) return {};
    return file;
  }
}

int flags_of_mode(const char* mode, bool& truncate) noexcept {
  const bool both = std::strchr(mode, '+') != nullptr;
  truncate = mode[0] == 'w';
  if (mode[0] == 'r') return both ? O_RDWR : O_RDONLY;
  if (mode[0] == 'w') return (both ? O_RDWR : O_WRONLY) | O_CREAT;
  if (mode[0] == 'a') return (both ? O_RDWR : O_WRONLY) | O_CREAT | O_APPEND;
  return -1;
}

int rename_without_replacing(const char* from, const char* to) noexcept {
  const int result = ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
  if (result == 0 || (errno != EINVAL && errno != ENOSYS)) return result;
  // A file system without it. A link is made in one step and fails for an existing name, too.
  if (::link(from, to) == 0) return ::unlink(from);
  if (errno != EPERM && errno != EOPNOTSUPP) return -1;
  struct stat status {};
  if (::lstat(to, &status) == 0) {
    errno = EEXIST;
    return -1;
  }
  return ::rename(from, to);
}

Error result_of(int result) noexcept { return result == 0 ? error_none : fail_errno(); }

}  // namespace

Error file_attributes(const char* path, FileAttributes& attributes) noexcept {
  struct stat status {};
  if (path == nullptr) return fail(error_invalid_parameter);
  if (::stat(path, &status) != 0) return fail_errno();
  fill(last_component(path), status, attributes);
  return error_none;
}

std::FILE* open_exclusive(const char* path, const char* mode) noexcept {
  bool truncate = false;
  const int flags = path != nullptr && mode != nullptr ? flags_of_mode(mode, truncate) : -1;
  if (flags < 0) {
    (void)fail(error_invalid_parameter);
    return nullptr;
  }
  Descriptor file = open_locked(path, flags, LOCK_EX, truncate);
  std::FILE* stream = file ? ::fdopen(file.get(), mode) : nullptr;
  if (stream == nullptr) {
    (void)fail_errno();
    return nullptr;
  }
  (void)file.release();
  return stream;
}

// Not emptied by the opening: it may be another's.
std::FILE* open_own_file(const char* path) noexcept {
  Descriptor file(retry([&] { return ::open(path, O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666); }));
  struct stat status {};
  const bool opened = file && ::fstat(file.get(), &status) == 0;
  const bool own = opened && S_ISREG(status.st_mode) && status.st_nlink == 1 && status.st_uid == ::geteuid();
  if (opened && !own) errno = EACCES;
  std::FILE* const stream = own && ::ftruncate(file.get(), 0) == 0 ? ::fdopen(file.get(), "w") : nullptr;
  if (stream == nullptr) {
    (void)fail_errno();
    return nullptr;
  }
  (void)file.release();
  return stream;
}

// Past the stream, whose own way costs as much again as what it adds to the system's.
std::size_t write_own_file(std::FILE* file, std::string_view text) noexcept {
  std::size_t written = 0;
  while (written < text.size()) {
    const ssize_t count = retry([&] { return ::write(::fileno(file), text.data() + written, text.size() - written); });
    if (count <= 0) break;
    written += static_cast<std::size_t>(count);
  }
  return written;
}

std::FILE* open_in_turn(const char* path) noexcept {
  Descriptor file(::open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0666));
  int locked = file ? ::flock(file.get(), LOCK_EX) : -1;
  while (locked != 0 && file && errno == EINTR) locked = ::flock(file.get(), LOCK_EX);
  std::FILE* const stream = locked == 0 ? ::fdopen(file.get(), "r+") : nullptr;
  if (stream == nullptr) {
    (void)fail_errno();
    return nullptr;
  }
  (void)file.release();
  return stream;
}

// Sharing is between users of this folder: an opener that shares with nobody excludes all others.
std::intptr_t open_file(const char* path, std::uint32_t access, std::uint32_t share, void* /*security*/,
                        std::uint32_t disposition, std::uint32_t /*flags*/, void* /*template_file*/) noexcept {
  const bool known = disposition >= create_new && disposition <= truncate_existing;
  if (path == nullptr || !known) {
    (void)fail(error_invalid_parameter);
    return -1;
  }
  int flags = O_RDONLY;
  if ((access & access_write) != 0) flags = (access & access_read) != 0 ? O_RDWR : O_WRONLY;
  if (disposition == create_new) flags |= O_CREAT | O_EXCL;
  if (disposition == create_always || disposition == open_always) flags |= O_CREAT;
  const bool truncate = disposition == create_always || disposition == truncate_existing;
  // Emptying needs the right to write, which a caller who asks for nothing else does not bring.
  if (truncate && flags == (flags & ~(O_WRONLY | O_RDWR))) flags |= O_RDWR;
  Descriptor file = open_locked(path, flags, share == 0 ? LOCK_EX : LOCK_SH, truncate);
  if (!file) {
    const bool exists = errno == EEXIST;
    (void)(exists ? fail(error_file_exists) : fail_errno());
    return -1;
  }
  return file.release();
}

void close_file(std::intptr_t file) noexcept {
  if (file >= 0) (void)::close(static_cast<int>(file));
}

Error read_whole(std::intptr_t file, std::string& contents) {
  struct stat status {};
  const int fd = static_cast<int>(file);
  if (::fstat(fd, &status) != 0) return fail_errno();
  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t got = ::pread(fd, bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
    if (got < 0 && errno != EINTR) return fail_errno();
    if (got == 0) break;  // shorter than it was a moment ago
    if (got > 0) done += static_cast<std::size_t>(got);
  }
  bytes.resize(done);
  contents = std::move(bytes);
  return error_none;
}

Error append_synced(std::intptr_t file, std::string_view bytes) noexcept {
  const int fd = static_cast<int>(file);
  const off_t end = ::lseek(fd, 0, SEEK_END);
  if (end < 0) return fail_errno();
  const ssize_t written = ::write(fd, bytes.data(), bytes.size());
  if (written == static_cast<ssize_t>(bytes.size())) return result_of(::fsync(fd));
  const Error error = written < 0 ? fail_errno() : fail(error_disk_full);
  if (written > 0 && ::ftruncate(fd, end) != 0) return fail_errno();
  return error;
}

Error list_directory(const char* path, std::vector<DirectoryEntry>& entries) {
  if (path == nullptr) return fail(error_invalid_parameter);
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(path), ::closedir);
  if (directory == nullptr) {
    const bool missing = errno == ENOENT || errno == ENOTDIR;
    return missing ? fail(error_path_not_found) : fail_errno();
  }
  std::vector<DirectoryEntry> found;
  errno = 0;
  while (const dirent* entry = ::readdir(directory.get())) {
    const char* name = entry->d_name;
    if (std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0) continue;
    struct stat status {};
    // One that is gone already is no entry; a link to nowhere is none that could be opened.
    if (::fstatat(::dirfd(directory.get()), name, &status, 0) == 0) {
      fill(name, status, found.emplace_back(DirectoryEntry{name, {}}).attributes);
    }
    errno = 0;
  }
  if (errno != 0) return fail_errno();
  entries = std::move(found);
  return error_none;
}

Error remove_file(const char* path) noexcept {
  return path != nullptr ? result_of(::unlink(path)) : fail(error_invalid_parameter);
}

Error rename_file(const char* from, const char* to) noexcept {
  if (from == nullptr || to == nullptr) return fail(error_invalid_parameter);
  return result_of(rename_without_replacing(from, to));
}

Error replace_file(const char* from, const char* to) noexcept {
  if (from == nullptr || to == nullptr) return fail(error_invalid_parameter);
  return result_of(::rename(from, to));
}

Error sync_file(std::FILE* file) noexcept {
  if (file == nullptr) return fail(error_invalid_parameter);
  return result_of(std::fflush(file) == 0 ? ::fsync(::fileno(file)) : -1);
}

Error make_directory(const char* path) noexcept {
  return path != nullptr ? result_of(::mkdir(path, 0777)) : fail(error_invalid_parameter);
}

Error make_private_file(const char* path) noexcept {
  if (path == nullptr) return fail(error_invalid_parameter);
  const Descriptor file(retry([&] { return ::open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600); }));
  return result_of(file ? ::fchmod(file.get(), 0600) : -1);
}

Error make_private_directory(const char* path) noexcept {
  if (path == nullptr) return fail(error_invalid_parameter);
  return result_of(::mkdir(path, 0700) == 0 ? ::chmod(path, 0700) : -1);
}

std::string utf8_path(const char* path) { return path; }

}  // namespace ox::platform
