// Texts of result codes.
#pragma once

#include <string>

#include <oxbase/oxtypes.h>

namespace ox {

// Replaces `text` by the text of a code, in the installation's code page. Throws std::bad_alloc.
void write_error_text(OX_RESULT code, std::string& text);

// Lets go of the shared copy of the message file.
void detach_error_texts() noexcept;

}  // namespace ox
