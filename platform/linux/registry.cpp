#include "platform/registry.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <memory>
#include <mutex>
#include <set>

#include "platform/fork.h"
#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"
#include "platform/linux/own_lock.h"
#include "platform/linux/registry_text.h"
#include "platform/linux/root.h"
#include "platform/system_log.h"

namespace ox::platform {
namespace {

constexpr char hive[] = "HKEY_LOCAL_MACHINE\\";
constexpr std::size_t largest_file = std::size_t{16} << 20;

struct Identity {
  std::string path;
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = -1;
  timespec changed{};

  [[nodiscard]] bool operator==(const Identity& other) const noexcept {
    return path == other.path && device == other.device && inode == other.inode && size == other.size &&
           changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
  }
};

struct Snapshot {
  Identity identity;
  bool settled = false;  // old enough when read that every later change shows in the identity
  RegistryText text;
};

Identity identity_of(const std::string& path, const struct stat& status) {
  return {path, status.st_dev, status.st_ino, status.st_size, status.st_mtim};
}

// File times advance in steps of some milliseconds; a change within the same step would go unseen.
bool is_settled(const timespec& changed) noexcept {
  constexpr std::int64_t margin = 200'000'000;
  timespec now{};
  (void)::clock_gettime(CLOCK_REALTIME, &now);
  const auto nanoseconds = [](const timespec& t) { return std::int64_t{t.tv_sec} * 1'000'000'000 + t.tv_nsec; };
  return nanoseconds(now) - nanoseconds(changed) > margin;
}

constinit std::mutex reads;  // what is kept of earlier reads
constinit std::set<std::string>* reported = nullptr;
constinit std::shared_ptr<const Snapshot>* cached = nullptr;
[[maybe_unused]] const bool free_in_child = free_in_forked_child(reads);

void report_faults(const std::string& path, const RegistryText& text) {
  for (const RegistryText::Fault& fault : text.faults()) {
    const std::string message = path + ":" + std::to_string(fault.line) + ": damaged line skipped: " + fault.text;
    {
      const std::lock_guard lock(reads);
      if (reported == nullptr) reported = new std::set<std::string>();
      if (!reported->insert(path + ":" + fault.text).second) continue;  // its number may change
    }
    (void)system_log("oxbase", 2, message.c_str());
  }
}

Error read_bytes(int fd, std::size_t size, std::string& bytes) {
  if (size > largest_file) return fail(error_file_invalid);
  bytes.resize(size);
  std::size_t have = 0;
  while (have < size) {
    const ssize_t got = retry([&] { return ::read(fd, bytes.data() + have, size - have); });
    if (got < 0) return fail_errno();
    if (got == 0) break;
    have += static_cast<std::size_t>(got);
  }
  bytes.resize(have);
  return error_none;
}

// The file as it is now; an absent one is empty.
Error load(const std::string& path, Snapshot& snapshot) {
  const Descriptor file = open_trusted(*root(), path.c_str());
  if (!file && errno != ENOENT) return fail_errno();
  snapshot.identity.path = path;
  if (!file) return error_none;
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return fail_errno();
  if (!S_ISREG(status.st_mode)) return fail(error_file_invalid);
  snapshot.identity = identity_of(path, status);
  snapshot.settled = is_settled(status.st_mtim);
  std::string bytes;
  if (const Error error = read_bytes(file.get(), static_cast<std::size_t>(status.st_size), bytes)) return error;
  snapshot.text = RegistryText::parse(bytes);
  report_faults(path, snapshot.text);
  return error_none;
}

// The registry of now: the copy in memory while the file has not changed. Null and last_error() on failure.
std::shared_ptr<const Snapshot> current() {
  const std::string path = root()->path + "/registry.reg";
  struct stat status {};
  const bool present = ::lstat(path.c_str(), &status) == 0;
  if (present) {
    const std::lock_guard lock(reads);
    if (cached != nullptr && (*cached)->settled && (*cached)->identity == identity_of(path, status)) return *cached;
  }
  auto fresh = std::make_shared<Snapshot>();
  if (load(path, *fresh) != error_none) return nullptr;
  const std::lock_guard lock(reads);
  if (cached == nullptr) cached = new std::shared_ptr<const Snapshot>();  // for good: it is read during exit, too
  *cached = fresh;
  return fresh;
}

std::string full_key(const char* key) { return std::string(hive).append(key); }

Error find_value(const char* key, const char* name, std::shared_ptr<const Snapshot>& snapshot,
                 const RegistryValue*& value) {
  if (key == nullptr || name == nullptr) return fail(error_invalid_parameter);
  snapshot = current();
  if (snapshot == nullptr) return last_error();
  value = snapshot->text.find(full_key(key), name);
  return value != nullptr ? error_none : fail(error_file_not_found);
}

Error write_all(int fd, std::string_view bytes) noexcept {
  while (!bytes.empty()) {
    const ssize_t put = retry([&] { return ::write(fd, bytes.data(), bytes.size()); });
    if (put < 0) return fail_errno();
    bytes.remove_prefix(static_cast<std::size_t>(put));
  }
  return ::fsync(fd) == 0 ? error_none : fail_errno();
}

// Expects the writers' lock. The new file takes over owner and mode of the old one.
Error replace(const std::string& path, const std::string& bytes) {
  constexpr mode_t usual_mode = 0644;
  const std::string fresh = path + ".new";
  (void)::unlink(fresh.c_str());  // of a writer that died
  const Descriptor file(::open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, usual_mode));
  if (!file) return fail_errno();
  struct stat status {};
  const bool exists = ::lstat(path.c_str(), &status) == 0;
  const uid_t owner = exists ? status.st_uid : root()->owner;
  (void)!::fchown(file.get(), owner, exists ? status.st_gid : static_cast<gid_t>(-1));  // as far as the process may
  (void)::fchmod(file.get(), exists ? status.st_mode & 07777 : usual_mode);
  Error error = write_all(file.get(), bytes);
  if (error == error_none && ::rename(fresh.c_str(), path.c_str()) != 0) error = fail_errno();
  if (error != error_none) (void)::unlink(fresh.c_str());
  return error;
}

Error write_value(const char* key, const char* name, const RegistryValue& value) {
  const auto base = root();
  const std::string path = base->path + "/registry.reg";
  OwnLock turn;
  if (!turn.take(base->path + "/registry.lock", base->owner, OwnLock::Wait::yes)) return fail_errno();
  Snapshot snapshot;
  Error error = load(path, snapshot);
  if (error == error_none) {
    snapshot.text.set(full_key(key), name, value);
    error = replace(path, snapshot.text.bytes());
  }
  return error;
}

bool is_key_name(const char* key) noexcept {
  return key != nullptr && *key != '\0' && std::string_view(key).find_first_of("[]\r\n") == std::string_view::npos;
}

}  // namespace

bool registry_has_key(const char* key) {
  if (key == nullptr) return false;
  const auto snapshot = current();
  return snapshot != nullptr && snapshot->text.has_key(full_key(key));
}

Error registry_read(const char* key, const char* name, std::string& text, std::uint32_t limit) {
  std::shared_ptr<const Snapshot> snapshot;
  const RegistryValue* value = nullptr;
  if (const Error error = find_value(key, name, snapshot, value)) return error;
  const auto* found = std::get_if<std::string>(value);
  if (found == nullptr) return fail(error_invalid_parameter);
  if (found->size() > limit) return fail(error_more_data);
  text = *found;
  return error_none;
}

Error registry_read(const char* key, const char* name, std::uint32_t& number) {
  std::shared_ptr<const Snapshot> snapshot;
  const RegistryValue* value = nullptr;
  if (const Error error = find_value(key, name, snapshot, value)) return error;
  const auto* found = std::get_if<std::uint32_t>(value);
  if (found == nullptr) return fail(error_invalid_parameter);
  number = *found;
  return error_none;
}

Error registry_write(const char* key, const char* name, const char* text) {
  if (!is_key_name(key) || name == nullptr || text == nullptr) return fail(error_invalid_parameter);
  return write_value(key, name, std::string(text));
}

Error registry_write(const char* key, const char* name, std::uint32_t number) {
  if (!is_key_name(key) || name == nullptr) return fail(error_invalid_parameter);
  return write_value(key, name, number);
}

}  // namespace ox::platform
