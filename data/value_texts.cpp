#include "data/value_texts.h"

#include <oxbase/oxb.h>

#include "common/context.h"
#include "common/trace.h"
#include "data/dnode_fields.h"
#include "data/growing_text.h"
#include "data/value_conversions.h"
#include "data/value_types.h"

namespace ox::data {
namespace {

// The thread's texts, one per conversion.
struct ValueTexts {
  GrowingText display{"dn_display_000", "dn_display_001"};
  GrowingText raw{"dn_raw_000", "dn_raw_001"};
  GrowingText code{"dn_code_000", "dn_code_001"};
};

const char* code_text(const dnode& node, GrowingText& out) {
  // By the size alone: a decoded value has no terminator.
  const std::string_view bytes = node.value.view();
  for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte) out.append(1, static_cast<char>(~*byte));
  return out.text();
}

using Print = const char* (*)(const dnode& node, GrowingText& out);

OX_RESULT make_text(const dnode* node, Print print, GrowingText ValueTexts::*buffer, const char*& text) noexcept {
  if (node == nullptr || !node->has(bit::value)) return OX_ENOVALUE;
  if (print == nullptr) return OX_EVALUETYPE;
  return guarded([&]() -> OX_RESULT {
    GrowingText& out = context<ValueTexts>().*buffer;
    out.clear();
    const char* const made = print(*node, out);
    if (made == nullptr) return OX_ENOMEM;
    text = made;
    return OX_OK;
  });
}

const char* text_of(const dnode* node, Print print, GrowingText ValueTexts::*buffer) noexcept {
  const char* text = nullptr;
  const OX_RESULT result = make_text(node, print, buffer, text);
  if (result == OX_ENOVALUE) return "(no_value)";
  if (result == OX_EVALUETYPE) return "(bad_type)";
  return result == OX_OK ? text : "(no_memory)";
}

// Type 0 becomes that of the node's attribute.
OX_RESULT find_type(dnode& node, std::uint32_t& type) noexcept {
  if (type != 0) return OX_OK;
  std::uint32_t entry = 0;
  const OX_RESULT result = amib_entry_of(node, entry);
  if (result == OX_OK) type = oxbAmibType(entry);
  return result;
}

OX_RESULT set_by_text(dnode& node, std::uint32_t type, const char* text) {
  if (const OX_RESULT result = find_type(node, type); result != OX_OK) return result;
  const ValueType& row = value_type(type);
  if (row.parse == nullptr) return OX_EVALUETYPE;
  ParsedValue value;
  if (const OX_RESULT result = row.parse(type, text, value); result != OX_OK) return result;
  take_value(node, type, value.size, std::move(value.bytes));
  return OX_OK;
}

OX_RESULT set_by_shown(dnode& node, std::uint32_t type, const char* text) {
  if (const OX_RESULT result = find_type(node, type); result != OX_OK) return result;
  ParsedValue value;
  if (const OX_RESULT result = parse_shown(node, type, text, value); result != OX_OK) return result;
  take_value(node, type, value.size, std::move(value.bytes));
  return OX_OK;
}

}  // namespace

const char* display_text(const dnode& node) noexcept {
  return text_of(&node, value_type(node.value.type).display, &ValueTexts::display);
}

OX_RESULT display_text(const dnode& node, const char*& text) noexcept {
  return make_text(&node, value_type(node.value.type).display, &ValueTexts::display, text);
}

const char* raw_text(const dnode& node) noexcept {
  return text_of(&node, value_type(node.value.type).raw, &ValueTexts::raw);
}

}  // namespace ox::data

using namespace ox;
using namespace ox::data;

const char* OX_CALL oxdGetValueByStr(dnode* node) {
  OX_ENTRY("oxdGetValueByStr", ":%x", trace::word(node));
  const char* text = node != nullptr ? display_text(*node) : text_of(nullptr, nullptr, nullptr);
  OX_TRACE(trace::general, "<E:oxdGetValueByStr:[%s]>\n", text);
  return text;
}

const char* OX_CALL oxdGetValueByRawStr(dnode* node) {
  OX_ENTRY("oxdGetValueByRawStr", ":%x", trace::word(node));
  const char* text = node != nullptr ? raw_text(*node) : text_of(nullptr, nullptr, nullptr);
  OX_TRACE(trace::general, "<E:oxdGetValueByRawStr:[%s]>\n", text);
  return text;
}

// The clear text itself stays out of the trace.
const char* OX_CALL oxdGetValueByCodeStr(const dnode* node) {
  OX_ENTRY("oxdGetValueByCodeStr", ":%x", trace::word(node));
  const bool code = node != nullptr && node->value.type == OX_CODESTRING;
  const char* text = text_of(node, code ? code_text : nullptr, &ValueTexts::code);
  OX_TRACE(trace::general, "<E:oxdGetValueByCodeStr:[%x]>\n", trace::word(text));
  return text;
}

OX_RESULT OX_CALL oxdSetValueByStr(dnode* node, uint32_t type, const char* text) {
  OX_ENTRY("oxdSetValueByStr", ":%x:%u:%s", trace::word(node), type,
           type == OX_CODESTRING ? "********" : trace::text(text));
  return traced("oxdSetValueByStr", [&] {
    return node != nullptr && text != nullptr ? set_by_text(*node, type, text) : OX_RESULT{OX_EARG};
  });
}

OX_RESULT OX_CALL oxdSetValueByShown(dnode* node, uint32_t type, const char* text) {
  // The type of an attribute may be one whose texts stay out of the trace.
  OX_ENTRY("oxdSetValueByShown", ":%x:%u:%x", trace::word(node), type, trace::word(text));
  return traced("oxdSetValueByShown", [&] {
    return node != nullptr && text != nullptr ? set_by_shown(*node, type, text) : OX_RESULT{OX_EARG};
  });
}
