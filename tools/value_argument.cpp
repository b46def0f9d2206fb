#include "tools/value_argument.h"

#include "platform/argument_text.h"
#include "tools/library.h"
#include "tools/text.h"

namespace tool {

const std::map<std::string, uint32_t> value_types = [] {
  std::map<std::string, uint32_t> types;
  oxdType info{};
  for (uint32_t code = 0; code < OXD_TYPES; ++code) {
    if (oxdTypeInfo(code, &info) == OX_OK && info.leaf != 0) types.emplace(info.keyword, code);
  }
  return types;
}();

void set_value(dnode* node, const std::string& name, uint32_t type, const std::string& text,
               const std::string& subject) {
  require(oxdSetAmibName(node, name.c_str()), subject);
  require(oxdSetValueByShown(node, type, text.c_str()), subject + " = " + text);
}

std::string one_text(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words)
    text += (text.empty() ? "" : " ") + ox::platform::argument_text(word, character_size);
  return text;
}

}  // namespace tool
