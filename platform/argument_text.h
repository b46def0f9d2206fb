// Arguments of a program in one text.
#pragma once

#include <string>

namespace ox::platform {

// Bytes of the character that begins there, in a text that is not at its end: later ones may look like quotes.
using CharacterSize = unsigned (*)(const char* text);

// An argument as it stands in such a text, so that it comes out again as it is: on Windows each program takes its text
// apart itself, elsewhere the library's tokenizer does.
[[nodiscard]] std::string argument_text(const std::string& argument, CharacterSize size);

}  // namespace ox::platform
