#include "platform/linux/object.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

#include "platform/environment.h"
#include "platform/fork.h"
#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"
#include "platform/linux/file_lock.h"
#include "platform/linux/own_lock.h"
#include "platform/linux/places.h"
#include "platform/linux/root.h"

namespace ox::platform {
namespace {

constexpr time_t sweep_interval = 60;  // seconds

constexpr mode_t object_mode = 0600;

// The lock of a folder's objects. It is opened anew each time: a descriptor kept would be shared with forked children,
// who would then not exclude their parent.
class ObjectsLock {
 public:
  explicit ObjectsLock(const std::string& file) noexcept { (void)lock_.take(file, ::geteuid(), OwnLock::Wait::yes); }
  [[nodiscard]] explicit operator bool() const noexcept { return static_cast<bool>(lock_); }
  [[nodiscard]] int file() const noexcept { return lock_.file(); }

 private:
  OwnLock lock_;
};

std::string lock_of(const std::string& folder) { return folder + "/lock"; }

// Only under the objects' lock, and on an object that is open for writing.
bool lock_alone(int fd) noexcept { return lock_file(fd, F_WRLCK); }
bool lock_shared(int fd) noexcept { return lock_file(fd, F_RDLCK); }

Descriptor open_writable(const std::string& path) noexcept {
  return Descriptor(::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
}

bool is_object(const char* file) noexcept { return file[0] != '\0' && file[1] == '.' && file[0] != '.'; }

void sweep_locked(const std::string& folder) {
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(folder.c_str()), ::closedir);
  if (directory == nullptr) return;
  while (const dirent* entry = ::readdir(directory.get())) {
    if (!is_object(entry->d_name)) continue;
    const std::string path = folder + '/' + entry->d_name;
    const Descriptor object = open_writable(path);
    if (object && lock_alone(object.get())) (void)::unlink(path.c_str());
  }
}

void sweep_sometimes(const ObjectsLock& lock, const std::string& folder) {
  struct stat status {};
  const time_t now = ::time(nullptr);
  if (::fstat(lock.file(), &status) != 0) return;
  if (status.st_mtim.tv_sec <= now && now - status.st_mtim.tv_sec < sweep_interval) return;
  sweep_locked(folder);
  (void)::futimens(lock.file(), nullptr);
}

// A new object, in place of a leftover.
Descriptor make_empty(const std::string& path, bool& living) {
  Descriptor object = open_writable(path);
  living = object && !lock_alone(object.get());
  if (living || (!object && errno != ENOENT)) return object;
  if (object && ::unlink(path.c_str()) != 0) return {};
  return Descriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, object_mode));
}

// Space is taken now: a write to a page that memory has no room for would kill the process.
bool reserve(int fd, std::size_t size) noexcept {
  int result = 0;
  do {
    result = ::posix_fallocate(fd, 0, static_cast<off_t>(size));
  } while (result == EINTR);
  if (result == EOPNOTSUPP) return ::ftruncate(fd, static_cast<off_t>(size)) == 0;
  errno = result;
  return result == 0;
}

Error map(const Descriptor& object, std::size_t size, bool writable, Object::Parts& parts) noexcept {
  const int protection = writable ? PROT_READ | PROT_WRITE : PROT_READ;
  void* base = ::mmap(nullptr, size, protection, MAP_SHARED, object.get(), 0);
  if (base == MAP_FAILED) return fail_errno();
  parts.base = base;
  parts.size = size;
  return error_none;
}

// Expects the shared lock. error_file_not_found when the object is no longer the one of its name.
Error map_whole(Descriptor& object, bool writable, Object::Parts& parts) noexcept {
  struct stat status {};
  if (::fstat(object.get(), &status) != 0) return fail_errno();
  if (status.st_nlink == 0 || status.st_size <= 0) return fail(error_file_not_found);
  if (const Error error = map(object, static_cast<std::size_t>(status.st_size), writable, parts)) return error;
  parts.descriptor = object.release();
  return error_none;
}

Error attach(Descriptor& object, bool writable, Object::Parts& parts) noexcept {
  return lock_shared(object.get()) ? map_whole(object, writable, parts) : fail_errno();
}

struct Request {
  std::size_t size;
  Object::Fill fill;
  const void* argument;
};

Error make(Descriptor object, const Request& request, Object::Parts& parts) {
  if (!reserve(object.get(), request.size) || map(object, request.size, true, parts) != error_none) {
    const Error error = fail_errno();
    if (!parts.path.empty()) (void)::unlink(parts.path.c_str());
    return error;
  }
  if (request.fill != nullptr) request.fill(parts.base, request.argument);
  (void)lock_shared(object.get());
  parts.descriptor = object.release();
  parts.made = true;
  return error_none;
}

// An account without a folder of its own: the object is this process's alone.
Error make_unnamed(const Request& request, Object::Parts& parts) {
  Descriptor object(::memfd_create("oxbase", MFD_CLOEXEC));
  return object ? make(std::move(object), request, parts) : fail_errno();
}

Error make_or_attach(const Request& request, bool* existed, Object::Parts& parts) {
  if (existed != nullptr) *existed = false;
  if (parts.path.empty()) return make_unnamed(request, parts);
  const ObjectsLock lock(parts.lock);
  if (!lock) return fail_errno();
  sweep_sometimes(lock, parts.folder);
  bool living = false;
  Descriptor object = make_empty(parts.path, living);
  if (!object) return fail_errno();
  if (living && existed == nullptr) return fail(error_already_exists);
  if (existed != nullptr) *existed = living;
  return living ? attach(object, true, parts) : make(std::move(object), request, parts);
}

// Without the objects' lock: somebody holds the object, and still does when this process holds it, too. Somebody who
// makes or removes it locks it alone; the shared lock fails then. A holder that dies in between has died after the
// opening.
bool attach_held(Descriptor& object, bool writable, Object::Parts& parts) noexcept {
  return is_locked_elsewhere(object.get()) && attach(object, writable, parts) == error_none;
}

Error attach_living(bool writable, Object::Parts& parts) {
  Descriptor object = open_writable(parts.path);
  if (!object) return fail_errno();
  if (attach_held(object, writable, parts)) return error_none;
  object.close();
  const ObjectsLock lock(parts.lock);
  if (!lock) return fail_errno();
  object = open_writable(parts.path);
  if (!object) return fail_errno();
  if (!is_locked_elsewhere(object.get())) {
    if (errno != 0) return fail_errno();
    (void)::unlink(parts.path.c_str());
    return fail(error_file_not_found);
  }
  return attach(object, writable, parts);
}

// What the manager has put there for all accounts: a block is read, of anything else it is known that it exists, while
// its maker lives. The manager's own account has the blocks themselves: where it has not, the copies are a dead one's.
Error attach_for_all(const Root& base, ObjectKind kind, const std::string& file, bool writable, Object::Parts& parts) {
  if (kind == ObjectKind::block && base.owner == ::geteuid() && !parts.path.empty()) return fail(error_file_not_found);
  Descriptor object = open_for_all(base, file);
  if (!object) return errno == EACCES ? fail(error_access_denied) : fail(error_file_not_found);
  parts.path.clear();  // not this process's to remove
  if (kind == ObjectKind::block && writable) return fail(error_access_denied);
  if (kind == ObjectKind::block) return map_whole(object, false, parts);
  if (!is_written_elsewhere(object.get())) return fail(error_file_not_found);
  parts.descriptor = object.release();
  return error_none;
}

Error name_file(ObjectKind kind, const char* name, std::string& file) {
  if (name == nullptr) return fail(error_invalid_parameter);
  file = object_file(kind, name);
  return file.empty() ? fail(error_invalid_name) : error_none;
}

// In the account's own folder, as far as it has one.
Error name_parts(const Root& base, ObjectKind kind, const char* name, bool make, Object::Parts& parts) {
  std::string file;
  if (const Error error = name_file(kind, name, file)) return error;
  parts.folder = own_folder(base, make);
  if (parts.folder.empty()) return error_none;
  parts.path = parts.folder + '/' + file;
  parts.lock = lock_of(parts.folder);
  return error_none;
}

bool is_same_object(int one, int other) noexcept {
  struct stat first {};
  struct stat second {};
  return ::fstat(one, &first) == 0 && ::fstat(other, &second) == 0 && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

// What stays mapped would keep the lock: the same memory takes its place by the fresh descriptor, in one step, since
// threads may be reading it.
void map_anew(const Object::Parts& parts, int fresh) noexcept {
  void* const same = ::mmap(nullptr, parts.size, PROT_READ | PROT_WRITE, MAP_SHARED, fresh, 0);
  if (same == MAP_FAILED) return;
  if (::mremap(same, parts.size, parts.size, MREMAP_MAYMOVE | MREMAP_FIXED, parts.base) == MAP_FAILED) {
    (void)::munmap(same, parts.size);
  }
}

// Under the objects' lock. Without it, the object stays for the next creator or opener to find.
void remove_unheld(const Object::Parts& parts, int object) noexcept {
  const ObjectsLock lock(parts.lock);
  struct stat status {};
  if (!lock || ::fstat(object, &status) != 0 || status.st_nlink == 0) return;  // somebody else has removed it
  if (lock_alone(object)) (void)::unlink(parts.path.c_str());
}

// Removes the object when nobody else holds it. Who that is shows by a descriptor of its own: a lock on the present one
// is shared by every process that was forked with it. That one is closed first: of several who let go at the same time,
// the last sees nobody.
void give_up(Object::Parts& parts) noexcept {
  Descriptor object(std::exchange(parts.descriptor, -1));
  if (!object || parts.path.empty()) return;
  const Descriptor fresh = open_writable(parts.path);
  const bool named = fresh && is_same_object(object.get(), fresh.get());
  if (named && parts.base != nullptr) map_anew(parts, fresh.get());
  object.close();
  if (named && !is_locked_elsewhere(fresh.get())) remove_unheld(parts, fresh.get());
}

// What the process holds: the end of the process gives it up, since not every holder is destroyed before.
class Held {
 public:
  static void add(Object::Parts& parts) noexcept {
    const std::lock_guard lock(guard);
    parts.next = first;
    if (first != nullptr) first->prev = &parts;
    first = &parts;
  }
  static void remove(Object::Parts& parts) noexcept {
    const std::lock_guard lock(guard);
    if (parts.prev != nullptr) parts.prev->next = parts.next;
    if (parts.next != nullptr) parts.next->prev = parts.prev;
    if (first == &parts) first = parts.next;
    parts.next = parts.prev = nullptr;
  }
  // One whose path ends so.
  static bool has_made(std::string_view end) noexcept {
    const std::lock_guard lock(guard);
    const Object::Parts* parts = first;
    while (parts != nullptr && !(parts->made && std::string_view(parts->path).ends_with(end))) parts = parts->next;
    return parts != nullptr;
  }

 private:
  // After all destructors. The memory stays mapped for threads that still run.
  [[gnu::destructor]] static void give_all_up() noexcept {
    const std::lock_guard lock(guard);
    for (; first != nullptr; first = first->next) give_up(*first);
  }

  static inline constinit std::mutex guard;
  static inline const bool free_in_child = free_in_forked_child(guard);
  static inline constinit Object::Parts* first = nullptr;
};

}  // namespace

Error Object::create(ObjectKind kind, const char* name, std::size_t size, Fill fill, const void* argument,
                     bool* existed) {
  if (size == 0) return fail(error_invalid_parameter);
  auto made = std::make_unique<Parts>();
  if (const Error error = name_parts(*root(), kind, name, true, *made)) return error;
  if (const Error error = make_or_attach({size, fill, argument}, existed, *made)) return error;
  hold(std::move(made));
  return error_none;
}

Error Object::open(ObjectKind kind, const char* name, bool writable) {
  const auto base = root();
  auto opened = std::make_unique<Parts>();
  std::string file;
  if (const Error error = name_file(kind, name, file)) return error;
  if (const Error error = name_parts(*base, kind, name, false, *opened)) return error;
  Error error = opened->path.empty() ? error_file_not_found : attach_living(writable, *opened);
  if (error == error_file_not_found) error = attach_for_all(*base, kind, file, writable, *opened);
  if (error != error_none) return error;
  hold(std::move(opened));
  return error_none;
}

Error Object::open_beside(const Object& other, const char* name) {
  const auto base = root();
  auto opened = std::make_unique<Parts>();
  if (const Error error = name_parts(*base, ObjectKind::block, name, false, *opened)) return error;
  const bool is_own = other.parts_ != nullptr && !other.parts_->path.empty();
  const std::string file = object_file(ObjectKind::block, name);
  const Error error =
      is_own ? attach_living(false, *opened) : attach_for_all(*base, ObjectKind::block, file, false, *opened);
  if (error != error_none) return error;
  hold(std::move(opened));
  return error_none;
}

void Object::hold(std::unique_ptr<Parts> parts) noexcept {
  close();
  parts_ = std::move(parts);
  Held::add(*parts_);
}

bool Object::is_maker(ObjectKind kind, const char* name) {
  Parts parts;
  // Most processes have made nothing of that name under any root: they need not look for the folder.
  return Held::has_made('/' + object_file(kind, name)) && name_parts(*root(), kind, name, false, parts) == error_none &&
         !parts.path.empty() && Held::has_made(parts.path);
}

void Object::close() noexcept {
  if (parts_ == nullptr) return;
  Held::remove(*parts_);
  if (parts_->base != nullptr) (void)::munmap(std::exchange(parts_->base, nullptr), parts_->size);
  give_up(*parts_);
  parts_.reset();
}

Error Object::take_name(ObjectKind kind, const char* name) {
  Parts parts;
  if (const Error error = name_parts(*root(), kind, name, false, parts)) return error;
  if (parts.path.empty()) return fail(error_file_not_found);
  const ObjectsLock lock(parts.lock);
  return lock && ::unlink(parts.path.c_str()) == 0 ? error_none : fail_errno();
}

namespace {

// The account that a process runs under.
bool find_account(std::uint32_t process, uid_t& account) {
  struct stat status {};
  if (::stat(("/proc/" + std::to_string(process)).c_str(), &status) != 0) return false;
  account = status.st_uid;
  return true;
}

bool is_plain_object(int fd, uid_t account, std::size_t size) noexcept {
  struct stat status {};
  return ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == account && status.st_nlink == 1 &&
         (status.st_mode & 077) == 0 && status.st_size == static_cast<off_t>(size);
}

}  // namespace

Error Object::open_of(std::uint32_t process, ObjectKind kind, const char* name, std::size_t size, int& file) {
  std::string base;
  uid_t account = 0;
  if (const Error error = name_file(kind, name, base)) return error;
  if (!find_account(process, account)) return fail(error_file_not_found);
  if (account != ::geteuid() && ::geteuid() != 0) return fail(error_access_denied);
  const std::string folder = folder_of_account(*root(), account);
  if (folder.empty()) return fail(error_file_not_found);
  Descriptor object(::open((folder + '/' + base).c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!object) return fail_errno();
  if (!is_plain_object(object.get(), account, size)) return fail(error_access_denied);
  if (!is_locked_elsewhere(object.get())) return fail(error_file_not_found);
  file = object.release();
  return error_none;
}

std::string object_file(ObjectKind kind, const char* name) {
  const std::string safe = file_name_of(name);
  return safe.empty() ? safe : std::string{static_cast<char>(kind), '.'} + safe;
}

void sweep_objects() {
  const std::string folder = own_folder(*root(), false);
  if (folder.empty()) return;
  const ObjectsLock lock(lock_of(folder));
  if (lock) sweep_locked(folder);
}

}  // namespace ox::platform
