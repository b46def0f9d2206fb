// Several texts as one member of a record, numbered from 1.
#pragma once

#include "data/field_kinds.h"

namespace ox::entries {

struct TextList {
  field::Text* texts;
  field::Number count;
  field::Number room;
};

inline constexpr field::Number longest_text_list = 1024;

// Gives the list a copy of a text under its number; those before that are not there yet are empty. 0; 3; 1 for a number
// that is none of 1 to 1024, with the list as it was.
[[nodiscard]] OX_RESULT put_text(TextList& list, field::Number number, const char* text, const char* tag) noexcept;

void clear(TextList& list) noexcept;

}  // namespace ox::entries
