// One trap definition, owned, and its texts.
#pragma once

#include <memory>
#include <string_view>

#include <oxbase/oxc.h>

#include "common/memory.h"

namespace ox {

struct TagDelete {
  void operator()(oxcTrTag* tag) const noexcept;
};
// Owns one record that is on no list.
using tag_ptr = std::unique_ptr<oxcTrTag, TagDelete>;

[[nodiscard]] tag_ptr make_tag() noexcept;

// Replaces a text of a record. 3, with the old one kept.
[[nodiscard]] OX_RESULT set_tag_text(char*& field, std::string_view text) noexcept;

}  // namespace ox
