#include "deffile/trap_tag.h"

#include <cstring>

#include "common/pointer_result.h"
#include "common/trace.h"

namespace ox {

void TagDelete::operator()(oxcTrTag* tag) const noexcept {
  if (tag == nullptr) return;
  for (char* text : {tag->enterprise, tag->summary, tag->detail, tag->deal, tag->action, tag->alertType, tag->kind,
                     tag->source, tag->timeStamp[0], tag->timeStamp[1], tag->file}) {
    (void)oxcMemFree(text);
  }
  (void)oxcMemFree(tag);
}

tag_ptr make_tag() noexcept { return tag_ptr(make_tracked<oxcTrTag>("trap_tag").release()); }

OX_RESULT set_tag_text(char*& field, std::string_view text) noexcept {
  auto copy = make_tracked_array<char>(static_cast<std::uint32_t>(text.size() + 1), "trap_text");
  if (!copy) return OX_ENOMEM;
  if (!text.empty()) std::memcpy(copy.get(), text.data(), text.size());
  copy[text.size()] = '\0';
  (void)oxcMemFree(field);
  field = copy.release();
  return OX_OK;
}

}  // namespace ox

oxcTrTag* OX_CALL oxcTrAllocTag(void) {
  OX_ENTRY("oxcTrAllocTag", "");
  return ox::traced_pointer("oxcTrAllocTag", [] { return ox::make_tag().release(); });
}

OX_RESULT OX_CALL oxcTrFreeTag(oxcTrTag* tag) {
  OX_ENTRY("oxcTrFreeTag", ":%x", ox::trace::word(tag));
  return ox::traced("oxcTrFreeTag", [&]() -> OX_RESULT {
    ox::TagDelete{}(tag);
    return OX_OK;
  });
}
