// Text forms of a node's value, in the thread's buffers.
#pragma once

#include "data/dnode.h"

namespace ox::data {

// Never null: "(no_value)", "(bad_type)", "(no_memory)" take the text's place.
[[nodiscard]] const char* display_text(const dnode& node) noexcept;
[[nodiscard]] const char* raw_text(const dnode& node) noexcept;

// The display text, or why there is none: 32 no value, 61 a type without one, 3.
[[nodiscard]] OX_RESULT display_text(const dnode& node, const char*& text) noexcept;

}  // namespace ox::data
