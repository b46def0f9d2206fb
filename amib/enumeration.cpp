#include "amib/enumeration.h"

#include <algorithm>
#include <cstdio>

#include <oxbase/oxb.h>

#include "amib/once.h"
#include "amib/path.h"
#include "amib/tree.h"
#include "common/context.h"
#include "common/lasting.h"
#include "common/trace.h"

namespace ox::amib {
namespace {

Lasting<Once<EnumTable>> enumerations;

struct ValueText {
  char text[16];
};

// The enumeration that applies to a written path: 183 when there is none.
OX_RESULT enumeration_of(const char* path, const Enumeration*& enumeration) {
  if (!is_attached()) return OX_ENOSESSION;
  const EnumTable* table = nullptr;
  if (const OX_RESULT result = enumerations->get(".enm", read_enum_files, table); result != OX_OK) return result;
  PathText number;
  if (const OX_RESULT result = convert_path(path, Form::numbers, number); result != OX_OK) return result;
  enumeration = find_enumeration(*table, number.data());
  return enumeration != nullptr ? enumeration->fault : OX_RESULT{OX_ENOTINTABLE};
}

OX_RESULT text_of_value(const char* path, std::int32_t value, const char** text) {
  const Enumeration* enumeration = nullptr;
  if (const OX_RESULT result = enumeration_of(path, enumeration); result != OX_OK) return result;
  const auto& items = enumeration->items;
  const auto item = std::lower_bound(items.begin(), items.end(), value,
                                     [](const EnumItem& a, std::int32_t wanted) { return a.value < wanted; });
  if (item == items.end() || item->value != value) return OX_ENOTINTABLE;
  *text = item->text.c_str();
  return OX_OK;
}

OX_RESULT item_at(const char* path, std::uint32_t index, std::int32_t* value, const char** text) {
  if (value == nullptr || text == nullptr) return OX_EARG;
  const Enumeration* enumeration = nullptr;
  if (const OX_RESULT result = enumeration_of(path, enumeration); result != OX_OK) return result;
  if (index >= enumeration->items.size()) return OX_ENOTINTABLE;
  *value = enumeration->items[index].value;
  *text = enumeration->items[index].text.c_str();
  return OX_OK;
}

OX_RESULT text_or_number(const char* path, std::int32_t value, const char** text) {
  if (text == nullptr) return OX_EARG;
  const OX_RESULT result = guarded([&] { return text_of_value(path, value, text); });
  if (result != OX_OK) {
    ValueText& number = context<ValueText>();
    (void)std::snprintf(number.text, sizeof number.text, "%ld", static_cast<long>(value));
    *text = number.text;
  }
  return result;
}

}  // namespace

void order_enumerations(EnumTable& table) {
  std::stable_sort(table.begin(), table.end(), [](const Enumeration& a, const Enumeration& b) {
    return a.path != b.path ? a.path < b.path : a.fault != OX_OK && b.fault == OX_OK;
  });
  const auto last_kept = std::unique(table.rbegin(), table.rend(),
                                     [](const Enumeration& a, const Enumeration& b) { return a.path == b.path; });
  table.erase(table.begin(), last_kept.base());
}

const Enumeration* find_enumeration(const EnumTable& table, std::string_view path) {
  for (;;) {
    const auto found = std::lower_bound(table.begin(), table.end(), path,
                                        [](const Enumeration& a, std::string_view wanted) { return a.path < wanted; });
    if (found != table.end() && found->path == path) return &*found;
    const std::size_t dot = path.rfind('.');
    if (dot == std::string_view::npos) return nullptr;
    path = path.substr(0, dot);
  }
}

}  // namespace ox::amib

using namespace ox;

extern "C" {

OX_RESULT OX_CALL oxbEnumToStr(const char* path, int32_t value, const char** text) {
  OX_ENTRY("oxbEnumToStr", ":%s:%d:%x", trace::text(path), static_cast<int>(value), trace::word(text));
  return traced("oxbEnumToStr", [&] { return amib::text_or_number(path, value, text); });
}

OX_RESULT OX_CALL oxbStrToEnum(const char* text, int32_t* value) {
  OX_ENTRY("oxbStrToEnum", ":%s:%x", trace::text(text), trace::word(value));
  return traced("oxbStrToEnum", [&]() -> OX_RESULT {
    if (text == nullptr || value == nullptr) return OX_EARG;
    return amib::item_value(text, *value);
  });
}

OX_RESULT OX_CALL oxbEnumItem(const char* path, uint32_t index, int32_t* value, const char** text) {
  OX_ENTRY("oxbEnumItem", ":%s:%u:%x:%x", trace::text(path), index, trace::word(value), trace::word(text));
  return traced("oxbEnumItem", [&] { return amib::item_at(path, index, value, text); });
}

}  // extern "C"
