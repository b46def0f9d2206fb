// The installation's settings, for the library's own use: without trace lines, so that the trace itself may read them.
// The exported reads are in oxc.h.
#pragma once

#include <cstdint>
#include <string>

namespace ox::settings {

inline constexpr char registry_key[] = "SOFTWARE\\CORVID\\OXBASE";

// The number of a DWORD value, or the default when it is absent.
[[nodiscard]] std::uint32_t number(const char* name, std::uint32_t absent);
// The text of a string value, empty when it is absent or longer than `limit` bytes. Throws std::bad_alloc.
[[nodiscard]] std::string text(const char* name, std::uint32_t limit);

// Read once per process; empty while the value is absent, never null. The directories lack one trailing separator.
[[nodiscard]] const char* home_directory() noexcept;
[[nodiscard]] const char* work_directory() noexcept;
[[nodiscard]] const char* time_zone() noexcept;
[[nodiscard]] const char* local_group() noexcept;

// The product brand; 0 or the platform error that kept it from being read, with the output untouched.
inline constexpr std::uint32_t default_brand = 64312;  // the system's own enterprise number
[[nodiscard]] std::uint32_t read_brand(std::uint32_t& id);

[[nodiscard]] bool language_is_japanese() noexcept;

}  // namespace ox::settings
