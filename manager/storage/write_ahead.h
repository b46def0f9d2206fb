// The write-ahead log of a database, as a manager that was killed has left it.
#pragma once

#include <string>

namespace ox::manager {

// Whether the log still has every change that was committed, before the database is opened: opening passes over all
// that comes behind a place that does not read, as behind the end of a change that was not finished. How far the
// commits went tells the log's index; without an index a log is not whole when a commit reads behind a place that does
// not.
[[nodiscard]] bool log_is_whole(const std::string& database);

}  // namespace ox::manager
