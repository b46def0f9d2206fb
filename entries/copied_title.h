// The title of a copy.
#pragma once

#include "entries/requests.h"

namespace ox::entries {

// Appends "title(copy)" of a node's title, the word in katakana; nothing when it has no text. 0; 3.
[[nodiscard]] OX_RESULT add_copied_title(const dnode& node, Nodes& nodes);

}  // namespace ox::entries
