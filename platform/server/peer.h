// Who is at the other end of a pipe, as the system itself tells. For the manager only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ox::platform {

// An account or a group by what the system calls it among its own: on Linux the decimal number, on Windows the text of
// the security identifier. Never taken from what a client says.
using AccountId = std::string;

struct Peer {
  std::uint32_t process = 0;        // 0 where the system does not tell
  AccountId user{};                 // empty: not known (yet)
  std::vector<AccountId> groups{};  // those that it had when it connected
  // The account of this process or of the system root, or an administrator of the machine.
  bool owner = false;
};

// The account or the group of that name, which may be a number or an identifier; empty when there is none.
[[nodiscard]] AccountId account_id(const std::string& name);
[[nodiscard]] AccountId group_id(const std::string& name);
// What people call an account; the identifier, when it has no name.
[[nodiscard]] std::string account_name(const AccountId& user);

}  // namespace ox::platform
