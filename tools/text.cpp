#include "tools/text.h"

#include <cstdarg>
#include <nlohmann/json.hpp>

#include <oxbase/oxc.h>

#include "common/code_page.h"
#include "platform/codepage.h"

namespace tool {
namespace {

using ox::CodePage, ox::is_ascii;
using ox::platform::Converter;
using Json = nlohmann::ordered_json;

const CodePage& page() {
  static const CodePage installed(oxcGetCodePage());
  return installed;
}

std::string formatted(const char* format, std::va_list arguments) {
  std::va_list again;
  va_copy(again, arguments);
  const int size = std::vsnprintf(nullptr, 0, format, again);
  va_end(again);
  std::string text(static_cast<std::size_t>(size > 0 ? size : 0) + 1, '\0');
  (void)std::vsnprintf(text.data(), text.size(), format, arguments);
  text.pop_back();  // its terminator
  return text;
}

// All of it, or as it is.
std::string whole_or_same(const std::string& text, std::uint32_t from, std::uint32_t to) {
  std::string made;
  return from != to && !is_ascii(text) && Converter(from, to).convert(text, made) ? made : text;
}

// One character, where it is one.
bool append_utf8(const Converter& converter, std::string_view character, std::string& to) {
  if (is_ascii(character) || (page().number() == ox::platform::utf8 && character.size() > 1)) {
    to += character;
    return true;
  }
  return page().number() != ox::platform::utf8 && converter.convert(character, to);
}

Json in_utf8(const Json& value);

Json object_in_utf8(const Json& object) {
  Json made = Json::object();
  Json raw;
  for (const auto& [key, item] : object.items()) {
    made[key] = in_utf8(item);
    const auto* const text = item.get_ptr<const std::string*>();
    if (text != nullptr && !utf8_of(*text).whole) raw[key] = hex_of(*text);
  }
  if (!raw.is_null() && !made.contains("raw")) made["raw"] = raw;
  return made;
}

Json in_utf8(const Json& value) {
  if (const auto* const text = value.get_ptr<const std::string*>()) return utf8_of(*text).text;
  if (value.is_object()) return object_in_utf8(value);
  if (!value.is_array()) return value;
  Json made = Json::array();
  for (const Json& item : value) made.push_back(in_utf8(item));
  return made;
}

}  // namespace

unsigned character_size(const char* text) { return page().size(text); }

std::string typed_text(const std::string& text, std::uint32_t typed) {
  return whole_or_same(text, typed, page().number());
}

std::string system_path(const std::string& path) {
  return whole_or_same(path, page().number(), ox::platform::own_code_page());
}

std::string shown_path(const std::string& path) {
  return whole_or_same(path, ox::platform::own_code_page(), page().number());
}

std::vector<std::string> system_paths(std::vector<std::string> paths) {
  for (std::string& path : paths) path = system_path(path);
  return paths;
}

void say(std::FILE* out, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  const std::string text = formatted(format, arguments);
  va_end(arguments);
  print(out, text);
}

Utf8 utf8_of(const std::string& text) {
  if (is_ascii(text)) return {text};
  const Converter converter(page().number(), ox::platform::utf8);
  Utf8 made;
  for (std::string_view rest = text; !rest.empty();) {
    std::string_view character = rest.substr(0, page().size(rest));
    if (!append_utf8(converter, character, made.text)) {
      made.text += "\xEF\xBF\xBD";
      made.whole = false;
      character = character.substr(0, 1);
    }
    rest.remove_prefix(character.size());
  }
  return made;
}

std::string json_text(const Json& value, int indent) { return in_utf8(value).dump(indent); }

std::string hex_of(const std::string& bytes) {
  std::string text;
  for (const char c : bytes) {
    for (const int shift : {4, 0}) text += "0123456789abcdef"[static_cast<unsigned char>(c) >> shift & 0xF];
  }
  return text;
}

}  // namespace tool
