// Copies into a caller's buffer of a stated size.
#include <cstring>

#include <oxbase/oxc.h>

#include "common/trace.h"

namespace {

// Writes `source` at target + used. A text that does not fit changes nothing: a cut name would name another thing.
OX_RESULT place(char* target, std::size_t used, const char* source, std::uint32_t size) noexcept {
  const std::size_t length = std::strlen(source);
  if (used >= size || length >= size - used) return OX_ENAMELONG;
  std::memmove(target + used, source, length + 1);
  return OX_OK;
}

std::size_t length_within(const char* text, std::uint32_t size) noexcept {
  const void* end = std::memchr(text, '\0', size);
  return end != nullptr ? static_cast<std::size_t>(static_cast<const char*>(end) - text) : size;
}

}  // namespace

OX_RESULT OX_CALL oxcStrcpy(char* target, const char* source, uint32_t size) {
  OX_ENTRY("oxcStrcpy", ":%x:%s:%u", ox::trace::word(target), ox::trace::text(source), size);
  return ox::traced("oxcStrcpy", [&]() -> OX_RESULT {
    if (target == nullptr || source == nullptr) return OX_OK;
    return place(target, 0, source, size);
  });
}

OX_RESULT OX_CALL oxcStrcat(char* target, const char* source, uint32_t size) {
  OX_ENTRY("oxcStrcat", ":%x:%s:%u", ox::trace::word(target), ox::trace::text(source), size);
  return ox::traced("oxcStrcat", [&]() -> OX_RESULT {
    if (target == nullptr || source == nullptr) return OX_OK;
    return place(target, length_within(target, size), source, size);
  });
}
