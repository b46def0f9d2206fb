// Builds elements apart from the codec, so that a mistake there cannot cancel itself here.
#pragma once

#include "tests/support/byte_text.h"
#include "tests/support/test.h"

namespace ox::test {

// An element with a length in its shortest form.
inline std::string element(int tag, std::string_view content) {
  std::string length;
  for (std::size_t rest = content.size(); rest != 0; rest >>= 8) length.insert(length.begin(), static_cast<char>(rest));
  if (content.size() >= 0x80) {
    length.insert(length.begin(), static_cast<char>(0x80 | length.size()));
  } else if (length.empty()) {
    length = std::string(1, '\0');
  }
  return static_cast<char>(tag) + length + std::string(content);
}

// A response of version 2c, community "c", request 1, with these bindings.
inline std::string response(std::string_view bindings) {
  return element(0x30, bytes("020101 040163") + element(0xA2, bytes("020101 020100 020100") + element(0x30, bindings)));
}

// A binding of the name 1.3 to a value element.
inline std::string binding(std::string_view value) { return element(0x30, bytes("06012B") + std::string(value)); }

}  // namespace ox::test
