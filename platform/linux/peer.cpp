#include "platform/linux/peer.h"

#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <optional>

#include "platform/linux/root.h"

namespace ox::platform {
namespace {

constexpr std::size_t record_bytes = 65536;  // of an account's record, with all members of a group

bool owns_root(uid_t user) {
  struct stat found {};
  return ::stat(root()->path.c_str(), &found) == 0 && found.st_uid == user;
}

std::vector<AccountId> groups_of(int socket, gid_t first) {
  std::vector<AccountId> ids{std::to_string(first)};
  std::vector<gid_t> groups(32);
  for (int tries = 2; tries != 0; --tries) {  // when there is no room, the call says how much it wants
    auto size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    const int result = ::getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size);
    groups.resize(size / sizeof(gid_t));
    if (result != 0) continue;
    for (const gid_t group : groups) ids.push_back(std::to_string(group));
    break;
  }
  return ids;
}

std::optional<std::uint32_t> number(const std::string& text) {
  std::uint32_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [next, error] = std::from_chars(text.data(), end, value);
  return error == std::errc{} && next == end ? std::optional(value) : std::nullopt;
}

}  // namespace

Peer peer_of(int socket) {
  ucred credentials{};
  socklen_t size = sizeof credentials;
  Peer peer;
  if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &size) != 0) return peer;
  if (credentials.pid > 0) peer.process = static_cast<std::uint32_t>(credentials.pid);
  peer.user = std::to_string(credentials.uid);
  peer.groups = groups_of(socket, credentials.gid);
  peer.owner = credentials.uid == 0 || credentials.uid == ::geteuid() || owns_root(credentials.uid);
  return peer;
}

AccountId account_id(const std::string& name) {
  if (number(name)) return name;
  std::vector<char> buffer(record_bytes);
  passwd record{};
  passwd* found = nullptr;
  if (::getpwnam_r(name.c_str(), &record, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return {};
  return std::to_string(found->pw_uid);
}

AccountId group_id(const std::string& name) {
  if (number(name)) return name;
  std::vector<char> buffer(record_bytes);
  group record{};
  group* found = nullptr;
  if (::getgrnam_r(name.c_str(), &record, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return {};
  return std::to_string(found->gr_gid);
}

std::string account_name(const AccountId& user) {
  std::vector<char> buffer(record_bytes);
  passwd record{};
  passwd* found = nullptr;
  const auto id = number(user);
  if (!id || ::getpwuid_r(*id, &record, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return user;
  return found->pw_name;
}

}  // namespace ox::platform
