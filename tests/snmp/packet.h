// Builds elements apart from the codec, so that a mistake there cannot cancel itself here.
#pragma once

#include <string>
#include <string_view>

namespace ox::test {

// Bytes from hex digits; blanks are passed over.
inline std::string hex(std::string_view digits) {
  std::string bytes;
  int high = -1;
  for (const char c : digits) {
    if (c == ' ') continue;
    const int digit = c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10;
    if (high < 0) {
      high = digit;
    } else {
      bytes += static_cast<char>(high << 4 | digit);
      high = -1;
    }
  }
  return bytes;
}

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
  return element(0x30, hex("020101 040163") + element(0xA2, hex("020101 020100 020100") + element(0x30, bindings)));
}

// A binding of the name 1.3 to a value element.
inline std::string binding(std::string_view value) { return element(0x30, hex("06012B") + std::string(value)); }

}  // namespace ox::test
