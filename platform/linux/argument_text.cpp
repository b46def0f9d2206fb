#include "platform/argument_text.h"

namespace ox::platform {

std::string argument_text(const std::string& argument, CharacterSize size) {
  if (!argument.empty() && argument.find_first_of(" \t\"'\\") == std::string::npos) return argument;
  std::string text = "\"";
  unsigned taken = 0;
  for (const char* at = argument.c_str(); *at != '\0'; at += taken) {
    taken = size(at);
    if (*at == '"' || *at == '\\') text += '\\';
    text.append(at, taken);
  }
  return text + '"';
}

}  // namespace ox::platform
