#include "common/owned_text.h"

#include <cstring>

#include <oxbase/oxbytes.h>

#include "common/memory.h"
#include "common/trace.h"

namespace ox {

OX_RESULT assign_text(char*& field, const char* text) noexcept {
  tracked_ptr<char[]> copy;
  if (text != nullptr) {
    copy = copy_text(text, "str_set");
    if (!copy) return OX_ENOMEM;
  }
  (void)oxcMemFree(field);  // only now: the text may be the field's own
  field = copy.release();
  return OX_OK;
}

OX_RESULT append_text(char*& field, const char* text) noexcept {
  const std::size_t old_length = field != nullptr ? std::strlen(field) : 0;
  const std::size_t length = std::strlen(text);
  if (length >= UINT32_MAX - old_length) return OX_ENOMEM;
  // The text may be a part of the field, which can move.
  const bool inside = field != nullptr && text >= field && text <= field + old_length;
  const std::size_t offset = inside ? static_cast<std::size_t>(text - field) : 0;
  auto* joined =
      static_cast<char*>(oxcMemRealloc(field, static_cast<std::uint32_t>(old_length + length + 1), "str_add"));
  if (joined == nullptr) return OX_ENOMEM;
  std::memmove(joined + old_length, inside ? joined + offset : text, length);
  joined[old_length + length] = '\0';
  field = joined;
  return OX_OK;
}

}  // namespace ox

OX_RESULT OX_CALL str_set(char** field, const char* text) {
  OX_ENTRY("str_set", ":%x:%s", ox::trace::word(field), ox::trace::text(text));
  return ox::traced("str_set", [&]() -> OX_RESULT {
    if (field == nullptr) return OX_EARG;
    return ox::assign_text(*field, text);
  });
}

OX_RESULT OX_CALL str_add(char** field, const char* text) {
  OX_ENTRY("str_add", ":%x:%s", ox::trace::word(field), ox::trace::text(text));
  return ox::traced("str_add", [&]() -> OX_RESULT {
    if (field == nullptr) return OX_EARG;
    if (text == nullptr) return OX_OK;
    return ox::append_text(*field, text);
  });
}
