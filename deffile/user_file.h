// The user's own file of a definition directory, "user.def".
#pragma once

#include <span>
#include <string_view>

#include <oxbase/oxc.h>

namespace ox {

// Replaces "user.def" of a definition directory below the work directory ("public\\comptype") by a file of the given
// entries, written in full beside it ("user.tmp") before the old one is touched; without entries there is none after.
// OX_EISDIR; OX_EOPEN, OX_EWRITE, with the old file as it was; OX_EDELETE when the old one cannot be removed;
// OX_ERENAME when the new one cannot be put in place; OX_ENAMELONG.
[[nodiscard]] OX_RESULT rewrite_user_file(std::string_view definition_directory,
                                          std::span<const oxcConfigEntry* const> entries);

}  // namespace ox
