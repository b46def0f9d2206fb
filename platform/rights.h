// Who may write and read the installation's folders and files. On Windows, where the rights of a new file are those of
// its folder, nothing is told.
#pragma once

#include <string>

namespace ox::platform {

enum class Rights {
  owner_writes,  // others may read
  owner_only,
  group_adds,  // members of the group make files there, and leave those of others alone
};

// What is wrong with a file or folder, and the command that mends it; empty when nothing is, also where there is none.
struct WrongRights {
  std::string fault;
  std::string command;
  bool is_link = false;  // what it leads to was not looked at
};
[[nodiscard]] WrongRights wrong_rights(const std::string& path, Rights rights);

// Why a daemon must not run as this account in this system: root in a folder where another account can put its own
// files. Empty when it may.
[[nodiscard]] WrongRights refused_account();

}  // namespace ox::platform
