#include "platform/environment.h"

#include <grp.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <string_view>
#include <vector>

#include "platform/attach.h"
#include "platform/linux/descriptor.h"
#include "platform/linux/fail.h"

namespace ox::platform {
namespace {

constexpr Error error_none_mapped = 1332;  // no such account name

// Calls a "_r" look-up of the user database with a growing buffer. Returns its result; `found` is null without a row.
template <class Row, class Lookup>
int look_up(Lookup lookup, Row& row, Row*& found, std::vector<char>& buffer) {
  buffer.resize(1024);
  for (;;) {
    const int result = lookup(&row, buffer.data(), buffer.size(), &found);
    if (result != ERANGE || buffer.size() > (1U << 24)) return result;
    buffer.resize(buffer.size() * 2);
  }
}

bool process_has_group(gid_t group) {
  if (getegid() == group) return true;
  std::vector<gid_t> groups(static_cast<std::size_t>(std::max(getgroups(0, nullptr), 0)));
  const int count = getgroups(static_cast<int>(groups.size()), groups.data());
  return count > 0 && std::find(groups.begin(), groups.begin() + count, group) != groups.begin() + count;
}

// What the user database says, for a user added to the group after the process's log-in.
bool effective_user_has_group(gid_t group) {
  std::vector<char> buffer;
  passwd row{};
  passwd* user = nullptr;
  const auto by_id = [](passwd* into, char* text, std::size_t size, passwd** found) {
    return getpwuid_r(geteuid(), into, text, size, found);
  };
  if (look_up(by_id, row, user, buffer) != 0 || user == nullptr) return false;
  int count = 64;
  std::vector<gid_t> groups(static_cast<std::size_t>(count));
  while (getgrouplist(user->pw_name, user->pw_gid, groups.data(), &count) < 0) {
    if (count <= static_cast<int>(groups.size())) return false;
    groups.resize(static_cast<std::size_t>(count));
  }
  groups.resize(static_cast<std::size_t>(count));
  return std::find(groups.begin(), groups.end(), group) != groups.end();
}

Error find_membership(const char* name, bool& member) {
  std::vector<char> buffer;
  group row{};
  group* found = nullptr;
  const auto by_name = [name](group* into, char* text, std::size_t size, group** result) {
    return getgrnam_r(name, into, text, size, result);
  };
  const int result = look_up(by_name, row, found, buffer);
  if (found == nullptr) {
    // Several data sources report a missing row through these numbers.
    const bool missing = result == 0 || result == ENOENT || result == ESRCH || result == EBADF || result == EPERM;
    return missing ? fail(error_none_mapped) : fail_errno(result);
  }
  const gid_t id = found->gr_gid;
  member = process_has_group(id) || effective_user_has_group(id);
  return error_none;
}

}  // namespace

const char path_separator = '/';
const bool language_is_per_process = true;

bool is_unloading() noexcept { return false; }  // there is no unload

std::uint32_t process_id() noexcept { return static_cast<std::uint32_t>(getpid()); }

Error os_version(OsVersion& version) noexcept {
  version = {2, 10, 0};
  return error_none;
}

bool language_is_japanese() noexcept {
  for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(name);
    if (value == nullptr || *value == '\0') continue;
    const std::string_view locale(value);
    return locale.substr(0, 2) == "ja" && (locale.size() == 2 || std::strchr("_.@", locale[2]) != nullptr);
  }
  return false;
}

Error set_time_zone(const char* zone) noexcept {
  if (zone == nullptr) return fail(error_invalid_parameter);
  if (::setenv("TZ", zone, 1) != 0) return fail_errno();
  ::tzset();
  return error_none;
}

std::string computer_name() {
  char name[HOST_NAME_MAX + 1] = {};
  if (::gethostname(name, sizeof name - 1) != 0) return {};
  const std::string_view whole(name);
  return std::string(whole.substr(0, std::min<std::size_t>(whole.find('.'), 64)));  // without the domain
}

Error user_in_group(const char* group, bool& member) noexcept {
  if (group == nullptr) return fail(error_invalid_parameter);
  try {
    return find_membership(group, member);
  } catch (const std::bad_alloc&) {
    return fail(error_out_of_memory);
  }
}

bool is_64_bit_system() noexcept {
  utsname system{};
  return sizeof(void*) == 8 || (uname(&system) == 0 && std::strstr(system.machine, "64") != nullptr);
}

bool has_ipv6() noexcept { return static_cast<bool>(Descriptor(::socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0))); }

void sleep_ms(std::uint32_t milliseconds) noexcept {
  timespec left{static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000L};
  while (::nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

}  // namespace ox::platform
