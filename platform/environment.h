// The process and the machine it runs on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/error.h"

namespace ox::platform {

[[nodiscard]] std::uint32_t process_id() noexcept;

// System version in the Windows manner: family 2 is the NT family. Linux answers as a current member of it, so that
// all names and paths of the newer form hold there too.
struct OsVersion {
  std::uint32_t family;
  std::uint32_t major;
  std::uint32_t minor;
};
[[nodiscard]] Error os_version(OsVersion& version) noexcept;

// Whether the system's default language is Japanese.
[[nodiscard]] bool language_is_japanese() noexcept;

// Puts TZ into the process environment and re-reads the time zone.
[[nodiscard]] Error set_time_zone(const char* zone) noexcept;

// The machine's own name, at most 64 bytes; empty when not found.
[[nodiscard]] std::string computer_name();

// Whether the user of the process, or its thread's, is a member of the local group.
// error_none and the flag, or why the group cannot be looked up (unknown group: 1332).
[[nodiscard]] Error user_in_group(const char* group, bool& member) noexcept;

// Whether a 64-bit system stands under the process.
[[nodiscard]] bool is_64_bit_system() noexcept;

// Whether the socket layer has an IPv6 protocol.
[[nodiscard]] bool has_ipv6() noexcept;

void sleep_ms(std::uint32_t milliseconds) noexcept;

// The separator that composed paths use: '\\' on Windows, '/' elsewhere.
extern const char path_separator;

// Whether processes of the machine may have different languages.
extern const bool language_is_per_process;

// Where an installation's own state lives when nothing else says so (the system root on Linux; empty on Windows).
[[nodiscard]] std::string system_root();

}  // namespace ox::platform
