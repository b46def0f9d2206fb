// Whole copies of databases, and their putting in place.
#pragma once

#include <string>

namespace ox::manager {

// Copies a database as it is at this moment into a new file, while others read and write it. False, with the reason,
// and the file removed, when that fails.
[[nodiscard]] bool copy_database(const std::string& from, const std::string& to, std::string& why);

// Sets a database, with its log, aside under the dated name, which is given, and puts another in its place.
[[nodiscard]] bool replace_database(const std::string& file, const std::string& made, std::string& name);

// The name with the time, and with a number where that is taken.
[[nodiscard]] std::string dated(const std::string& file);

}  // namespace ox::manager
