// The reader that every definition reader takes its entries from.
#include <cstring>

#include <oxbase/oxc.h>

#include "common/context.h"
#include "common/memory.h"
#include "common/trace.h"
#include "deffile/entry_stream.h"

namespace ox {

EntryStream& entry_stream() { return context<EntryStream>(); }

namespace {

constexpr std::uint32_t value_limit = sizeof(oxcConfigEntry::values) / sizeof(char*);

OX_RESULT open(const char* path) {
  EntryStream& stream = entry_stream();
  stream.file.reset();  // the old one is given up even when the new one cannot be opened
  stream.file = open_definition_file(path);
  if (!stream.file) return OX_EOPEN;
  stream.lines.restart();
  return OX_OK;
}

OX_RESULT rewind() {
  EntryStream& stream = entry_stream();
  if (!stream.file) return OX_EMISSING;
  if (std::fseek(stream.file.get(), 0, SEEK_SET) != 0) return oxcGetCRunError();
  stream.lines.restart();
  return OX_OK;
}

void free_values(oxcConfigEntry& entry) noexcept {
  for (std::uint32_t i = 0; i < entry.count; ++i) {
    (void)oxcMemFree(entry.values[i]);
    entry.values[i] = nullptr;
  }
  entry.count = 0;
}

OX_RESULT copy_values(char* text, oxcConfigEntry& entry) noexcept {
  char* tokens[value_limit];
  std::uint32_t count = 0;
  const OX_RESULT result = oxcToken(text, nullptr, tokens, value_limit, &count);
  if (result != OX_OK) return result;
  for (; entry.count < count; ++entry.count) {
    auto value = copy_text(tokens[entry.count], "string_004");
    if (!value) {
      free_values(entry);
      return OX_ENOMEM;
    }
    entry.values[entry.count] = value.release();
  }
  return OX_OK;
}

OX_RESULT read(const char* filter, oxcConfigEntry* entry) {
  if (entry == nullptr) return OX_EARG;
  entry->keyword[0] = '\0';
  entry->count = 0;
  std::memset(entry->values, 0, sizeof entry->values);
  EntryStream& stream = entry_stream();
  if (!stream.file) return OX_EARG;
  do {
    const OX_RESULT result = stream.lines.next(stream.file.get());
    if (result != OX_OK) return result;
  } while (filter != nullptr && std::strcmp(stream.lines.keyword(), filter) != 0);
  std::strcpy(entry->keyword, stream.lines.keyword());
  return copy_values(stream.lines.value_text(), *entry);
}

}  // namespace
}  // namespace ox

OX_RESULT OX_CALL oxcSetConfigEntry(const char* path) {
  OX_ENTRY("oxcSetConfigEntry", ":%s", ox::trace::text(path));
  return ox::traced("oxcSetConfigEntry", [&] { return path != nullptr ? ox::open(path) : ox::rewind(); });
}

OX_RESULT OX_CALL oxcGetConfigEntry(void* reserved1, const char* filter, void* reserved2, oxcConfigEntry* entry) {
  OX_ENTRY("oxcGetConfigEntry", ":%x:%s:%x:%x", ox::trace::word(reserved1), ox::trace::text(filter),
           ox::trace::word(reserved2), ox::trace::word(entry));
  return ox::traced("oxcGetConfigEntry", [&] { return ox::read(filter, entry); });
}

uint32_t OX_CALL oxcGetConflineno(void) {
  OX_ENTRY("oxcGetConflineno", "");
  return ox::traced("oxcGetConflineno", [] { return ox::entry_stream().lines.line(); });
}

OX_RESULT OX_CALL oxcEndConfigEntry(void) {
  OX_ENTRY("oxcEndConfigEntry", "");
  return ox::traced("oxcEndConfigEntry", []() -> OX_RESULT {
    ox::entry_stream().file.reset();
    return OX_OK;
  });
}
