#include <cstring>

#include <oxbase/oxc.h>

#include "common/trace.h"

namespace {

// The first pair that `matches`, null for none.
template <class Predicate>
const oxcKeyword* find(const oxcKeyword* table, Predicate matches) noexcept {
  if (table == nullptr) return nullptr;
  for (const oxcKeyword* pair = table; pair->text != nullptr && pair->text[0] != '\0'; ++pair) {
    if (matches(*pair)) return pair;
  }
  return nullptr;
}

}  // namespace

OX_RESULT OX_CALL oxcStrToValue(const oxcKeyword* table, const char* text, uint32_t* value) {
  OX_ENTRY("oxcStrToValue", ":%x:%s:%x", ox::trace::word(table), ox::trace::text(text), ox::trace::word(value));
  return ox::traced("oxcStrToValue", [&]() -> OX_RESULT {
    if (text == nullptr || value == nullptr) return OX_ENOTINTABLE;
    const oxcKeyword* pair = find(table, [&](const oxcKeyword& row) { return std::strcmp(row.text, text) == 0; });
    if (pair == nullptr) return OX_ENOTINTABLE;
    *value = pair->value;
    return OX_OK;
  });
}

OX_RESULT OX_CALL oxcValueToStr(const oxcKeyword* table, uint32_t value, const char** text) {
  OX_ENTRY("oxcValueToStr", ":%x:%u:%x", ox::trace::word(table), value, ox::trace::word(text));
  return ox::traced("oxcValueToStr", [&]() -> OX_RESULT {
    if (text == nullptr) return OX_ENOTINTABLE;
    const oxcKeyword* pair = find(table, [&](const oxcKeyword& row) { return row.value == value; });
    if (pair == nullptr) return OX_ENOTINTABLE;
    *text = pair->text;
    return OX_OK;
  });
}
