// The installation's settings, for the library's own use. The exported reads are in oxc.h.
#pragma once

#include <cstdint>
#include <string>

namespace ox::settings {

inline constexpr char registry_key[] = "SOFTWARE\\CORVID\\OXBASE";

// The number of a DWORD value, or the default when it is absent.
[[nodiscard]] std::uint32_t number(const char* name, std::uint32_t absent);
// The text of a string value, empty when it is absent.
[[nodiscard]] std::string text(const char* name, std::uint32_t limit);

}  // namespace ox::settings
