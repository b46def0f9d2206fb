// The files of databases that this process alone uses.
//
// A transaction takes and gives back four locks on the index of the log. Asked of the system each time, they cost more
// than a small change itself: here they are asked once, all of them, and from then on shared out among the connections
// of this process. Another process is refused: the database is locked.
#pragma once

#include <string>

namespace ox::manager {

// The name under which the database library knows such files.
[[nodiscard]] const char* sole_user_files();

// The file goes by another name from now on: what is opened under this one is another file, whoever still has the first
// one open.
void give_up_name(const std::string& file);

}  // namespace ox::manager
