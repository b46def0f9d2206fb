#include "platform/rights.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <vector>

#include "platform/linux/root.h"

namespace ox::platform {
namespace {

std::string quoted(const std::string& path) {
  std::string text = "'";
  for (const char c : path) text += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return text + '\'';
}

std::string account_name(uid_t account) {
  std::vector<char> buffer(16384);
  passwd row{};
  passwd* found = nullptr;
  const bool known = ::getpwuid_r(account, &row, buffer.data(), buffer.size(), &found) == 0 && found != nullptr;
  return known ? found->pw_name : std::to_string(account);
}

std::string octal(mode_t mode) {
  std::array<char, 8> digits;
  (void)std::snprintf(digits.data(), digits.size(), "%04o", static_cast<unsigned>(mode & 07777));
  return digits.data();
}

struct Rule {
  mode_t closed;  // bits that must not be there
  const char* fault;
  const char* mode;  // for chmod
};

Rule rule_of(Rights rights, mode_t mode) noexcept {
  switch (rights) {
    case Rights::owner_writes:
      return {022, "others than its owner can write it", "go-w"};
    case Rights::owner_only:
      return {077, "others than its owner can reach it", "go-rwx"};
    case Rights::group_adds:
      break;
  }
  const mode_t group = (mode & S_ISVTX) == 0 ? 020 : 0;
  return {group | 002, "others than its group can write it, or its members remove one another's files", "1770"};
}

}  // namespace

WrongRights wrong_rights(const std::string& path, Rights rights) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return {};
  if (S_ISLNK(status.st_mode)) return {"a link, which leads elsewhere", "rm " + quoted(path), true};
  const auto base = root();
  if (!is_trusted(*base, status.st_uid)) {
    const std::string owner = account_name(base->owner);
    return {"belongs to " + account_name(status.st_uid) + ", not to " + owner, "chown " + owner + ' ' + quoted(path)};
  }
  const Rule rule = rule_of(rights, status.st_mode);
  if ((status.st_mode & rule.closed) == 0) return {};
  return {std::string(rule.fault) + ": mode " + octal(status.st_mode),
          std::string("chmod ") + rule.mode + ' ' + quoted(path)};
}

WrongRights refused_account() {
  struct stat status {};
  const auto base = root();
  if (::geteuid() != 0 || ::stat(base->path.c_str(), &status) != 0) return {};
  if (status.st_uid != 0) {
    const std::string owner = account_name(status.st_uid);
    return {"it belongs to " + owner + ", who could lead root to any file of the machine",
            "runuser -u " + owner + " -- oxmgrd"};
  }
  if ((status.st_mode & 022) == 0) return {};
  return {"others can write it, and could lead root to any file of the machine: mode " + octal(status.st_mode),
          "make-installation --account oxbase " + quoted(base->path) + ", and start it as oxbase"};
}

}  // namespace ox::platform
