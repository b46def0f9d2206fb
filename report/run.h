// Making the files of reports: the page that a person opens, and the values as CSV.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "report/report_entry.h"

namespace report {

// Makes the page and the CSV file of the report's period, and those of periods that have ended since its last page.
// The files of it, newest last; none when nothing has been collected since its last page, unless `forced`. Another
// process may be at the same report: it is told. Each file takes its place when it is whole. Throws Failure,
// std::runtime_error.
[[nodiscard]] std::vector<std::string> make_files(const char* manager, const std::string& name, bool forced);

// Where its page is.
[[nodiscard]] std::string page_of(const Report& report, const Definition& definition);

}  // namespace report
