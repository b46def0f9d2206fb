// Local calendar times, in the time zone of the process's environment.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace ox::platform {

// Seconds since 1970 to local time, over the whole range of 32 unsigned bits (to 2106). False when it cannot be
// converted. Safe from any thread.
[[nodiscard]] bool local_time(std::uint32_t seconds, std::tm& time) noexcept;

// Local time to seconds since 1970, which may be negative. Summer time is found by the date; fields out of range are
// carried over. False when it cannot be converted.
[[nodiscard]] bool make_local_time(std::tm time, std::int64_t& seconds) noexcept;

// The file with the rules of a zone of that name; empty where the system keeps none in files, and for a name that would
// lead elsewhere.
[[nodiscard]] std::string zone_file(const char* name);

}  // namespace ox::platform
