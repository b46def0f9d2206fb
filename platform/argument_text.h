// Arguments of a program in one text.
#pragma once

#include <string>

namespace ox::platform {

// An argument as it stands in such a text, so that it comes out again as it is: on Windows each program takes its text
// apart itself, elsewhere the library's tokenizer does.
[[nodiscard]] std::string argument_text(const std::string& argument);

}  // namespace ox::platform
