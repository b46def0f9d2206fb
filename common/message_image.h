// The machine's shared copy of the message file. The first process that needs it loads it; the others attach it.
#pragma once

#include <string>

#include <oxbase/oxtypes.h>

#include "common/message_file.h"

namespace ox {

// The lines, loaded or attached on first use; null while that fails. Takes no lock once they are there.
[[nodiscard]] const MessageFile* message_lines() noexcept;

// Loads or attaches; 0 when that has been done. The reason of a failure goes to message_failure().
[[nodiscard]] OX_RESULT load_messages() noexcept;

// Why the last attempt to load failed, as a text for the user. Throws std::bad_alloc.
[[nodiscard]] std::string message_failure();

}  // namespace ox
