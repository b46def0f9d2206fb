// Displayed text to value: what a user reads can be written back.
#include <string>
#include <string_view>

#include <oxbase/oxb.h>

#include "data/value_conversions.h"

namespace ox::data {
namespace {

// The number of an item of the attribute's enumeration, "down" or "down(2)"; any other text is a number itself.
OX_RESULT parse_item(const dnode& node, const char* text, ParsedValue& value) {
  const std::string_view wanted = text;
  std::int32_t number = 0;
  const char* item = nullptr;
  const bool named = node.has(bit::amib_name);
  for (std::uint32_t i = 0; named && oxbEnumItem(node.amib_name.text, i, &number, &item) == OX_OK; ++i) {
    const std::string_view whole = item;
    if (wanted == whole || wanted == whole.substr(0, whole.rfind('('))) {
      return make_value(OX_INTEGER, static_cast<std::uint32_t>(number), 0, value);
    }
  }
  return parse_signed(OX_INTEGER, text, value);
}

// No bytes are shown as the bare mark.
OX_RESULT parse_shown_hex(std::uint32_t type, const char* text, ParsedValue& value) {
  return std::string_view(text) == "0x" ? make_value(type, 0, 0, value) : parse_hex(type, text, value);
}

OX_RESULT parse_readable(std::uint32_t type, std::string_view text, ParsedValue& value) {
  if (text.starts_with("0x")) return parse_shown_hex(type, text.data(), value);
  if (text.size() > UINT32_MAX) return OX_ENOMEM;
  return make_value(type, reinterpret_cast<std::uintptr_t>(text.data()), static_cast<std::uint32_t>(text.size()),
                    value);
}

// A name is shown without the head of the standard ones, for which a dot stands where names are read.
OX_RESULT parse_shown_path(const char* text, ParsedValue& value) {
  const OX_RESULT result = parse_path(OX_OBJECTID, text, value);
  if (result != OX_EAMIBNAME || *text == '\0' || *text == '.') return result;
  return parse_path(OX_OBJECTID, ("." + std::string(text)).c_str(), value);
}

}  // namespace

OX_RESULT parse_shown(const dnode& node, std::uint32_t type, const char* text, ParsedValue& value) {
  const auto parse = value_type(type).parse;
  if (parse == nullptr) return OX_EVALUETYPE;
  switch (type) {
    case OX_INTEGER:
      return parse_item(node, text, value);
    case OX_OCTETSTRING:
    case OX_OPAQUE:
      return parse_readable(type, text, value);
    case OX_PHYSADDRESS:
      return parse_shown_hex(type, text, value);
    case OX_OBJECTID:
      return parse_shown_path(text, value);
    case OX_CODESTRING:  // shown as stars, which would become the secret
      return std::string_view(text) == "********" ? OX_RESULT{OX_EFORMAT} : parse(type, text, value);
    default:
      return parse(type, text, value);
  }
}

}  // namespace ox::data
