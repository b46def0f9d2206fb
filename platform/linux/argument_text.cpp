#include "platform/argument_text.h"

namespace ox::platform {

std::string argument_text(const std::string& argument) {
  if (!argument.empty() && argument.find_first_of(" \t\"'\\") == std::string::npos) return argument;
  std::string text = "\"";
  for (const char c : argument) {
    if (c == '"' || c == '\\') text += '\\';
    text += c;
  }
  return text + '"';
}

}  // namespace ox::platform
