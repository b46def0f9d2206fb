#include "platform/argument_text.h"

namespace ox::platform {

// Backslashes count only before a quote.
std::string argument_text(const std::string& argument, CharacterSize size) {
  std::string text = "\"";
  std::size_t backslashes = 0;
  unsigned taken = 0;
  for (const char* at = argument.c_str(); *at != '\0'; at += taken) {
    taken = size(at);
    if (*at == '"') text.append(backslashes + 1, '\\');
    backslashes = *at == '\\' ? backslashes + 1 : 0;
    text.append(at, taken);
  }
  return text.append(backslashes, '\\') + '"';
}

}  // namespace ox::platform
