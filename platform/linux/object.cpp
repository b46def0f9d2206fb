#include "platform/linux/object.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <utility>

#include "platform/environment.h"
#include "platform/fork.h"
#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"
#include "platform/linux/file_lock.h"
#include "platform/linux/root.h"

namespace ox::platform {
namespace {

constexpr time_t sweep_interval = 60;  // seconds

// The root's lock file, locked by flock, which needs no right to write it. It is opened anew each time: a descriptor
// kept would be shared with forked children, who would then not exclude their parent.
class ObjectsLock {
 public:
  explicit ObjectsLock(const std::string& path) noexcept : file_(open_lock_file(path.c_str())) {
    root_is_gone_ = !file_ && errno == ENOENT;
    held_ = file_ && retry([this] { return ::flock(file_.get(), LOCK_EX); }) == 0;
  }
  ObjectsLock(const ObjectsLock&) = delete;
  ObjectsLock& operator=(const ObjectsLock&) = delete;
  // Unlocked, not just closed: a child forked by another thread meanwhile may have the descriptor too.
  ~ObjectsLock() {
    if (held_) (void)::flock(file_.get(), LOCK_UN);
  }
  [[nodiscard]] explicit operator bool() const noexcept { return held_; }
  [[nodiscard]] bool root_is_gone() const noexcept { return root_is_gone_; }
  [[nodiscard]] int file() const noexcept { return file_.get(); }

 private:
  Descriptor file_;
  bool root_is_gone_ = false;
  bool held_ = false;
};

// Only under the objects' lock, and on an object that is open for writing.
bool lock_alone(int fd) noexcept { return lock_file(fd, F_WRLCK); }
bool lock_shared(int fd) noexcept { return lock_file(fd, F_RDLCK); }

mode_t mode_of(Access access) noexcept { return access == Access::machine ? 0664 : 0660; }

void sweep_locked(const std::string& prefix) {
  const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir("/dev/shm"), ::closedir);
  if (directory == nullptr) return;
  while (const dirent* entry = ::readdir(directory.get())) {
    if (std::strncmp(entry->d_name, prefix.c_str(), prefix.size()) != 0) continue;
    const std::string name = std::string("/") + entry->d_name;
    const Descriptor object(::shm_open(name.c_str(), O_RDWR, 0));
    if (object && lock_alone(object.get())) (void)::shm_unlink(name.c_str());
  }
}

void sweep_sometimes(const ObjectsLock& lock, const std::string& prefix) {
  struct stat status {};
  const time_t now = ::time(nullptr);
  if (::fstat(lock.file(), &status) != 0) return;
  if (status.st_mtim.tv_sec <= now && now - status.st_mtim.tv_sec < sweep_interval) return;
  sweep_locked(prefix);
  (void)::futimens(lock.file(), nullptr);  // fails for a stranger to the file, who then sweeps each time
}

// A new object, or a leftover emptied: one that another account left can be used again but not removed.
Descriptor make_empty(const std::string& name, mode_t mode, bool& living) {
  living = false;
  for (int attempt = 0; attempt < 2; ++attempt) {
    Descriptor object(::shm_open(name.c_str(), O_RDWR, 0));
    if (!object && errno != ENOENT) return object;
    if (!object) {
      object = Descriptor(::shm_open(name.c_str(), O_RDWR | O_CREAT | O_EXCL, mode));
      return object;
    }
    if (!lock_alone(object.get())) {
      living = true;
      return object;
    }
    if (::shm_unlink(name.c_str()) != 0) {
      if (::ftruncate(object.get(), 0) != 0) object.close();
      return object;
    }
  }
  return {};
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
Error map_whole(Descriptor object, bool writable, Object::Parts& parts) noexcept {
  struct stat status {};
  if (::fstat(object.get(), &status) != 0) return fail_errno();
  if (status.st_nlink == 0 || status.st_size <= 0) return fail(error_file_not_found);
  if (const Error error = map(object, static_cast<std::size_t>(status.st_size), writable, parts)) return error;
  parts.descriptor = object.release();
  return error_none;
}

Error attach(Descriptor object, bool writable, Object::Parts& parts) noexcept {
  if (!lock_shared(object.get())) return fail_errno();
  return map_whole(std::move(object), writable, parts);
}

// A reader opens for writing, too, where it may: only so can the last holder lock the object alone and remove it.
Descriptor open_object(const std::string& name, bool writable) noexcept {
  Descriptor object(::shm_open(name.c_str(), O_RDWR, 0));
  if (!object && errno == EACCES && !writable) object = Descriptor(::shm_open(name.c_str(), O_RDONLY, 0));
  return object;
}

struct Request {
  std::size_t size;
  mode_t mode;
  Object::Fill fill;
  const void* argument;
};

Error make(Descriptor object, const Root& base, const Request& request, Object::Parts& parts) {
  if (!reserve(object.get(), request.size) || map(object, request.size, true, parts) != error_none) {
    const Error error = fail_errno();
    (void)::shm_unlink(parts.name.c_str());
    return error;
  }
  share_with_group(object.get(), base, request.mode);
  if (request.fill != nullptr) request.fill(parts.base, request.argument);
  (void)lock_shared(object.get());
  parts.descriptor = object.release();
  return error_none;
}

Error make_or_attach(const Root& base, const Request& request, bool* existed, Object::Parts& parts) {
  const ObjectsLock lock(base.lock);
  if (!lock) return fail_errno();
  sweep_sometimes(lock, base.prefix);
  bool living = false;
  Descriptor object = make_empty(parts.name, request.mode, living);
  if (!object) return fail_errno();
  if (living && existed == nullptr) return fail(error_already_exists);
  if (existed != nullptr) *existed = living;
  return living ? attach(std::move(object), true, parts) : make(std::move(object), base, request, parts);
}

// Without the objects' lock: somebody holds the object, and still does when this process holds it, too. Somebody who
// makes or removes it locks it alone; the shared lock fails then. A holder that dies in between has died after the
// opening.
bool attach_held(bool writable, Object::Parts& parts) noexcept {
  Descriptor object = open_object(parts.name, writable);
  if (!object || !is_locked_elsewhere(object.get()) || !lock_shared(object.get())) return false;
  return map_whole(std::move(object), writable, parts) == error_none;
}

Error attach_living(const std::string& lock_path, bool writable, Object::Parts& parts) {
  if (attach_held(writable, parts)) return error_none;
  const ObjectsLock lock(lock_path);
  if (!lock) return fail_errno();
  Descriptor object = open_object(parts.name, writable);
  if (!object) return fail_errno();
  if (!is_locked_elsewhere(object.get())) {
    if (errno != 0) return fail_errno();
    (void)::shm_unlink(parts.name.c_str());
    return fail(error_file_not_found);
  }
  return attach(std::move(object), writable, parts);
}

Error name_parts(const Root& base, ObjectKind kind, const char* name, Object::Parts& parts) {
  if (name == nullptr) return fail(error_invalid_parameter);
  const std::string safe = file_name_of(name);
  if (safe.empty()) return fail(error_invalid_name);
  parts.name = "/" + base.prefix + static_cast<char>(kind) + "." + safe;
  parts.lock = base.lock;
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

// Removes the object when nobody else holds it. Who that is shows by a descriptor of its own: a lock on the present one
// is shared by every process that was forked with it.
void give_up(Object::Parts& parts) noexcept {
  Descriptor object(std::exchange(parts.descriptor, -1));
  if (!object) return;
  const ObjectsLock lock(parts.lock);
  // Without the lock it stays for the next creator or opener to find. A root that is gone has neither.
  const Descriptor fresh = lock || lock.root_is_gone() ? open_object(parts.name, true) : Descriptor();
  const bool named = fresh && is_same_object(object.get(), fresh.get());
  if (named && parts.base != nullptr) map_anew(parts, fresh.get());
  object.close();  // before the next one, who may be the last then, gets the lock
  if (named && lock_alone(fresh.get())) (void)::shm_unlink(parts.name.c_str());
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

Error Object::create(ObjectKind kind, const char* name, std::size_t size, Access access, Fill fill,
                     const void* argument, bool* existed) {
  if (size == 0) return fail(error_invalid_parameter);
  const auto base = root();
  auto made = std::make_unique<Parts>();
  if (const Error error = name_parts(*base, kind, name, *made)) return error;
  const Request request{size, mode_of(access), fill, argument};
  if (const Error error = make_or_attach(*base, request, existed, *made)) return error;
  close();
  parts_ = std::move(made);
  Held::add(*parts_);
  return error_none;
}

Error Object::open(ObjectKind kind, const char* name, bool writable) {
  const auto base = root();
  auto opened = std::make_unique<Parts>();
  if (const Error error = name_parts(*base, kind, name, *opened)) return error;
  if (const Error error = attach_living(base->lock, writable, *opened)) return error;
  close();
  parts_ = std::move(opened);
  Held::add(*parts_);
  return error_none;
}

void Object::close() noexcept {
  if (parts_ == nullptr) return;
  Held::remove(*parts_);
  (void)::munmap(std::exchange(parts_->base, nullptr), parts_->size);
  give_up(*parts_);
  parts_.reset();
}

Error Object::take_name(ObjectKind kind, const char* name) {
  const auto base = root();
  Parts parts;
  if (const Error error = name_parts(*base, kind, name, parts)) return error;
  const ObjectsLock lock(base->lock);
  return lock && ::shm_unlink(parts.name.c_str()) == 0 ? error_none : fail_errno();
}

void sweep_objects() {
  const auto base = root();
  const ObjectsLock lock(base->lock);
  if (lock) sweep_locked(base->prefix);
}

}  // namespace ox::platform
