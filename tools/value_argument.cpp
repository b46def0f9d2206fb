#include "tools/value_argument.h"

#include "platform/argument_text.h"
#include "tools/cli.h"

namespace tool {

const std::map<std::string, uint32_t> value_types = [] {
  std::map<std::string, uint32_t> types;
  oxdType info{};
  for (uint32_t code = 0; code < OXD_TYPES; ++code) {
    if (oxdTypeInfo(code, &info) == OX_OK && info.leaf != 0) types.emplace(info.keyword, code);
  }
  return types;
}();

namespace {

std::string number_of_item(const char* path, const std::string& text) {
  int32_t value = 0;
  const char* item = nullptr;
  for (uint32_t i = 0; oxbEnumItem(path, i, &value, &item) == OX_OK; ++i) {
    const std::string whole = item;
    if (text == whole || text == whole.substr(0, whole.rfind('('))) return std::to_string(value);
  }
  return text;
}

}  // namespace

void set_value(dnode* node, const std::string& name, uint32_t type, const std::string& text,
               const std::string& subject) {
  require(oxdSetAmibName(node, name.c_str()), subject);
  const char* path = "";
  require(oxdGetAmibName(node, &path), subject);
  require(oxdSetValueByStr(node, type, number_of_item(path, text).c_str()), subject + " = " + text);
}

std::string one_text(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + ox::platform::argument_text(word);
  return text;
}

}  // namespace tool
