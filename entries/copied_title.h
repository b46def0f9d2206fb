// The title of a copy.
#pragma once

#include <string>

namespace ox::entries {

// "title(copy)", the word in katakana of code page 932.
[[nodiscard]] inline std::string copied_title(const char* title) {
  return std::string(title) + "(\x83\x52\x83\x73\x81\x5B)";
}

}  // namespace ox::entries
