// Whether the books of collected data agree with what is there.
#pragma once

#include <string>

#include "manager/storage/connection.h"

namespace ox::manager {

// Of a database that is open and sound. Empty when they do, and `told` gets the sums; else what does not.
[[nodiscard]] std::string check_books(Connection& connection, std::string& told);

}  // namespace ox::manager
