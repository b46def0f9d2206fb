#include "platform/argument_text.h"

namespace ox::platform {

// Backslashes count only before a quote.
std::string argument_text(const std::string& argument) {
  std::string text = "\"";
  std::size_t backslashes = 0;
  for (const char c : argument) {
    if (c == '"') text.append(backslashes + 1, '\\');
    backslashes = c == '\\' ? backslashes + 1 : 0;
    text += c;
  }
  return text.append(backslashes, '\\') + '"';
}

}  // namespace ox::platform
