// What the library itself reads from the manager daemon's settings file.
#pragma once

#include <string>
#include <string_view>

namespace ox {

// "<WorkDir>/conf/oxmgrd.cf", a keyword definition file.
[[nodiscard]] std::string daemon_settings_path();

// The first value of the first line with the keyword; empty when there is none. Faulty lines are passed over: the
// daemon reports them. The thread's own definition file is not touched.
[[nodiscard]] std::string daemon_setting(std::string_view keyword);

// Whether a manager may have that name: 1 to 63 letters, digits, "-", "_" and ".". It stands in component names and
// in lists, where blanks, ":", "," and "*" have meanings of their own.
[[nodiscard]] bool comm_namecheck(std::string_view name) noexcept;

}  // namespace ox
