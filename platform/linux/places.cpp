#include "platform/linux/places.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstdlib>
#include <initializer_list>

namespace ox::platform {
namespace {

constexpr mode_t own_mode = 0700;
constexpr mode_t run_mode = 0755;

bool is_folder_of(const std::string& path, uid_t account, mode_t closed) noexcept {
  struct stat status {};
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == account &&
         (status.st_mode & closed) == 0;
}

// Whatever the umask.
void make_folder(const std::string& path, mode_t mode) noexcept {
  if (::mkdir(path.c_str(), own_mode) == 0 && mode != own_mode) (void)::chmod(path.c_str(), mode);
}

// What the system gives each account that has logged on, and root.
std::string runtime_folder(uid_t account) {
  const char* given = account == ::geteuid() ? std::getenv("XDG_RUNTIME_DIR") : nullptr;
  const std::string usual = "/run/user/" + std::to_string(account);
  for (const std::string& folder : {std::string(given != nullptr ? given : ""), usual}) {
    if (!folder.empty() && is_folder_of(folder, account, 022)) return folder;
  }
  return account == 0 && is_folder_of("/run", 0, 022) ? "/run" : "";
}

std::string folder_in_runtime(const Root& root, uid_t account) {
  const std::string runtime = runtime_folder(account);
  return runtime.empty() ? runtime : runtime + '/' + root.name;
}

std::string folder_in_root(const Root& root) { return root.path + "/run/own"; }

std::string ready(const std::string& folder, uid_t account, bool make) {
  if (folder.empty()) return {};
  if (make) make_folder(folder, own_mode);
  return is_folder_of(folder, account, 077) ? folder : std::string();
}

std::string folder(const Root& root, uid_t account, bool make) {
  if (account == root.owner && !run_folder(root, make).empty()) {
    if (std::string own = ready(folder_in_root(root), account, make); !own.empty()) return own;
  }
  return ready(folder_in_runtime(root, account), account, make);
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
  std::string run = root.path + "/run";
  if (make && root.owner == ::geteuid()) make_folder(run, run_mode);
  return is_folder_of(run, root.owner, 022) ? run : std::string();
}

Descriptor open_for_all(const Root& root, const std::string& file) noexcept {
  const Descriptor base(::open(root.path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
  const Descriptor run(base ? ::openat(base.get(), "run", O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC) : -1);
  if (!run || !only_owner_writes(run.get(), root, S_IFDIR)) return {};
  Descriptor opened(::openat(run.get(), file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  return opened && only_owner_writes(opened.get(), root, S_IFREG) ? std::move(opened) : Descriptor();
}

}  // namespace ox::platform
