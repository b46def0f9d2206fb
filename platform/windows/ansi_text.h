// Texts in the system's ANSI code page, in which the calls that end in "A" take them.
#pragma once

#include <windows.h>

#include <string_view>

namespace ox::platform {

// Bytes of the character that begins there, in a text that is not at its end.
inline unsigned ansi_size(const char* text) noexcept {
  return ::IsDBCSLeadByteEx(CP_ACP, static_cast<BYTE>(*text)) != FALSE && text[1] != '\0' ? 2 : 1;
}

// Where the last backslash of a terminated path stands; npos without one.
inline std::size_t last_backslash(const char* path) noexcept {
  std::size_t found = std::string_view::npos;
  for (std::size_t at = 0; path[at] != '\0'; at += ansi_size(path + at)) found = path[at] == '\\' ? at : found;
  return found;
}

}  // namespace ox::platform
