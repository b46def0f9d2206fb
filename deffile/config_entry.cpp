// Entries that are made to be written.
#include <cerrno>
#include <cstdarg>
#include <cstring>

#include <oxbase/oxf.h>

#include "common/memory.h"
#include "common/trace.h"

namespace {

struct EntryDelete {
  void operator()(oxcConfigEntry* entry) const noexcept {
    for (std::uint32_t i = 0; i < entry->count; ++i) (void)oxcMemFree(entry->values[i]);
    (void)oxcMemFree(entry);
  }
};
using OwnedEntry = std::unique_ptr<oxcConfigEntry, EntryDelete>;

OwnedEntry make_entry(const char* keyword, std::uint32_t count, std::va_list& values) noexcept {
  OwnedEntry entry(ox::make_tracked<oxcConfigEntry>("confent_000").release());
  if (!entry) return nullptr;
  std::memcpy(entry->keyword, keyword, std::strlen(keyword) + 1);
  for (; entry->count < count; ++entry->count) {
    const char* value = va_arg(values, const char*);
    if (value == nullptr) continue;
    entry->values[entry->count] = ox::copy_text(value, "string_010").release();
    if (entry->values[entry->count] == nullptr) return nullptr;
  }
  return entry;
}

bool fits(const char* keyword, std::uint32_t count) noexcept {
  constexpr std::uint32_t value_limit = sizeof(oxcConfigEntry::values) / sizeof(char*);
  return std::strlen(keyword) < sizeof(oxcConfigEntry::keyword) && count <= value_limit;
}

}  // namespace

uint32_t OX_CALL oxfSetConfent(oxcConfigEntry** entry, const char* keyword, uint32_t count, ...) {
  OX_ENTRY("oxfSetConfent", ":%x:%s:%u", ox::trace::word(entry), ox::trace::text(keyword), count);
  std::va_list values;
  va_start(values, count);
  const OX_RESULT made = ox::traced("oxfSetConfent", [&]() -> OX_RESULT {
    if (entry == nullptr || keyword == nullptr || !fits(keyword, count)) return 0;
    OwnedEntry built = make_entry(keyword, count, values);
    if (!built) return 0;
    *entry = built.release();
    return 1;
  });
  va_end(values);
  if (made == 0) errno = OX_ENOMEM;
  return made;
}

OX_RESULT OX_CALL oxfClrConfent(oxcConfigEntry* entry) {
  OX_ENTRY("oxfClrConfent", ":%x", ox::trace::word(entry));
  return ox::traced("oxfClrConfent", [&]() -> OX_RESULT {
    if (entry != nullptr) EntryDelete{}(entry);
    return OX_OK;
  });
}
