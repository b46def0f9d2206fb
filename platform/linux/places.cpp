#include "platform/linux/places.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cstdlib>

namespace ox::platform {
namespace {

constexpr mode_t own_mode = 0700;
constexpr mode_t run_mode = 0755;

std::string run_path(const Root& root) { return root.path + "/run"; }

bool look_at_folder(const std::string& path, uid_t account, mode_t closed, struct stat& status) noexcept {
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == account &&
         (status.st_mode & closed) == 0;
}

bool is_folder_of(const std::string& path, uid_t account, mode_t closed) noexcept {
  struct stat status {};
  return look_at_folder(path, account, closed, status);
}

// Whatever the umask.
void make_folder(const std::string& path, mode_t mode) noexcept {
  if (::mkdir(path.c_str(), own_mode) == 0 && mode != own_mode) (void)::chmod(path.c_str(), mode);
}

// The own folder that this thread has found last. Whatever leads to the same folder later, nobody else has put another
// in its place: the folders above it need no second look.
struct LastFound {
  dev_t device = 0;
  ino_t inode = 0;
};
constinit thread_local LastFound last_found;

bool is_last_found(const std::string& own, uid_t account) noexcept {
  struct stat status {};
  return last_found.inode != 0 && look_at_folder(own, account, 077, status) && status.st_ino == last_found.inode &&
         status.st_dev == last_found.device;
}

// `own` when it is there and the account's alone, else empty.
std::string ready(const std::string& own, uid_t account, bool make) {
  if (make) make_folder(own, own_mode);
  return is_folder_of(own, account, 077) ? own : std::string();
}

std::string remembered(const std::string& own) {
  struct stat status {};
  if (!own.empty() && ::lstat(own.c_str(), &status) == 0) last_found = {status.st_dev, status.st_ino};
  return own;
}

std::string folder_in_root(const Root& root, uid_t account, bool make) {
  const std::string own = run_path(root) + "/own";
  if (is_last_found(own, account)) return own;
  return run_folder(root, make).empty() ? std::string() : remembered(ready(own, account, make));
}

// What the system gives each account that has logged on, and root.
std::array<std::string, 3> runtime_folders(uid_t account) {
  const char* const given = account == ::geteuid() ? std::getenv("XDG_RUNTIME_DIR") : nullptr;
  return {given != nullptr ? given : "", "/run/user/" + std::to_string(account), account == 0 ? "/run" : ""};
}

std::string folder_in_runtime(const Root& root, uid_t account, bool make) {
  for (const std::string& runtime : runtime_folders(account)) {
    if (runtime.empty()) continue;
    const std::string own = runtime + '/' + root.name;
    if (is_last_found(own, account)) return own;
    if (is_folder_of(runtime, account, 022)) return remembered(ready(own, account, make));
  }
  return {};
}

std::string folder(const Root& root, uid_t account, bool make) {
  std::string own = account == root.owner ? folder_in_root(root, account, make) : std::string();
  return own.empty() ? folder_in_runtime(root, account, make) : own;
}

std::string state_folder() {
  const char* const given = std::getenv("XDG_STATE_HOME");
  if (given != nullptr && *given == '/') return given;
  const char* const home = std::getenv("HOME");
  return home != nullptr && *home == '/' ? std::string(home) + "/.local/state" : std::string();
}

void make_folders_above(const std::string& path) {
  for (std::size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1)) {
    make_folder(path.substr(0, at), own_mode);
  }
}

bool only_owner_writes(int fd, const Root& root, mode_t kind) noexcept {
  struct stat status {};
  const bool sound = ::fstat(fd, &status) == 0 && (status.st_mode & S_IFMT) == kind && status.st_uid == root.owner &&
                     (status.st_mode & 022) == 0;
  if (!sound) errno = EACCES;
  return sound;
}

}  // namespace

std::string own_folder(const Root& root, bool make) { return folder(root, ::geteuid(), make); }

std::string folder_of_account(const Root& root, uid_t account) { return folder(root, account, false); }

std::string own_lasting_folder(const Root& root) {
  const uid_t account = ::geteuid();
  if (account == root.owner) return ready(root.path + "/numbers", account, true);
  std::string folder = state_folder();
  if (folder.empty()) return folder;
  folder += "/oxbase/" + root.name;
  make_folders_above(folder);
  return ready(folder, account, true);
}

std::string run_folder(const Root& root, bool make) {
  std::string run = run_path(root);
  if (make && root.owner == ::geteuid()) make_folder(run, run_mode);
  return is_folder_of(run, root.owner, 022) ? run : std::string();
}

Descriptor open_for_all(const Root& root, const std::string& file) {
  const Descriptor run(::open(run_path(root).c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!run || !only_owner_writes(run.get(), root, S_IFDIR)) return {};
  Descriptor opened(::openat(run.get(), file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  return opened && only_owner_writes(opened.get(), root, S_IFREG) ? std::move(opened) : Descriptor();
}

}  // namespace ox::platform
