// Texts at the tools' edge. Within a tool they are in the installation's code page, as the library takes and gives
// them; what people type and see is in their terminal's, what machines get is UTF-8.
#pragma once

#include <cstdio>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "common/terminal_text.h"

namespace tool {

// Bytes of the character that begins there, in a text that is not at its end.
unsigned character_size(const char* text);

// What has been typed in another code page. Where the installation's lacks a character of it, it stays as it is.
std::string typed_text(const std::string& text, std::uint32_t typed);
// A path that has been typed, as the system has it; and one of the system's among other texts.
std::string system_path(const std::string& path);
std::string shown_path(const std::string& path);
std::vector<std::string> system_paths(std::vector<std::string> paths);

using ox::print, ox::terminal_text;
// Prints what the format says as the terminal shows it.
[[gnu::format(printf, 2, 3)]] void say(std::FILE* out, const char* format, ...);

// A text in UTF-8, in which U+FFFD stands for each byte of no character; whether there is none of those.
struct Utf8 {
  std::string text;
  bool whole = true;
};
Utf8 utf8_of(const std::string& text);

// JSON text of a value. In each object "raw" has the bytes, in hex, of its texts that are not whole, under their names;
// where it is there already it stays.
std::string json_text(const nlohmann::ordered_json& value, int indent = -1);
std::string hex_of(const std::string& bytes);

}  // namespace tool
