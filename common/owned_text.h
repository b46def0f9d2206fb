// Owned text fields of records, for the library's own setters: str_set and str_add without their trace lines.
#pragma once

#include <oxbase/oxtypes.h>

namespace ox {

// Replaces the field's text by a copy; null for a null text. OX_ENOMEM leaves the field as it was.
[[nodiscard]] OX_RESULT assign_text(char*& field, const char* text) noexcept;
// Appends; a null field counts as the empty text. OX_ENOMEM leaves the field as it was.
[[nodiscard]] OX_RESULT append_text(char*& field, const char* text) noexcept;

}  // namespace ox
