#include "platform/linux/own_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace ox::platform {
namespace {

constexpr mode_t own_mode = 0600;
constexpr int most_attempts = 100;  // each of them lost to somebody who replaced the file

enum class State { usable, replaced, unusable };

// The file as it was opened: this account's own, or to be made so.
State look_at(const Descriptor& file, const std::string& path, uid_t account) noexcept {
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return State::unusable;
  if (!S_ISREG(status.st_mode) || (status.st_mode & 077) != 0 || status.st_nlink > 1) {
    return ::unlink(path.c_str()) == 0 || errno == ENOENT ? State::replaced : State::unusable;
  }
  if (status.st_uid != account && ::geteuid() == 0 && ::fchown(file.get(), account, static_cast<gid_t>(-1)) != 0) {
    return State::unusable;
  }
  return State::usable;
}

bool is_still_named(const Descriptor& file, const std::string& path) noexcept {
  struct stat held {};
  struct stat named {};
  return ::fstat(file.get(), &held) == 0 && ::lstat(path.c_str(), &named) == 0 && held.st_ino == named.st_ino &&
         held.st_dev == named.st_dev;
}

}  // namespace

bool OwnLock::take(const std::string& path, uid_t account, Wait wait) noexcept {
  give_up();
  const int how = wait == Wait::yes ? LOCK_EX : LOCK_EX | LOCK_NB;
  for (int attempt = 0; attempt < most_attempts; ++attempt) {
    Descriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, own_mode));
    if (!file) return false;
    const State state = look_at(file, path, account);
    if (state == State::unusable) return false;
    if (state == State::replaced) continue;
    if (retry([&] { return ::flock(file.get(), how); }) != 0) return false;
    if (!is_still_named(file, path)) continue;
    file_ = std::move(file);
    return true;
  }
  errno = EBUSY;
  return false;
}

void OwnLock::give_up() noexcept {
  if (!file_) return;
  (void)::flock(file_.get(), LOCK_UN);
  file_.close();
}

}  // namespace ox::platform
