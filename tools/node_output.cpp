#include "tools/node_output.h"

#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string_view>

#include "tools/library.h"
#include "tools/rows.h"

namespace tool {
namespace {

constexpr std::string_view standard_prefix = "iso.org.dod.internet.mgmt.mib-2.";
constexpr std::string_view enterprise_prefix = "iso.org.dod.internet.private.enterprises.";

std::string component_of(const dnode* node) {
  const char* type = "";
  const char* name = "";
  (void)oxdGetCompType(node, &type);
  (void)oxdGetCompName(node, &name);
  return std::string(type) + ":" + name;
}

std::string path_of(const dnode* node) {
  const char* path = "";
  (void)oxdGetAmibName(node, &path);
  return path;
}

std::string name_of(const dnode* node) { return shown_name(path_of(node)); }

uint32_t error_of(const dnode* node) {
  uint32_t code = 0;
  (void)oxdGetErrCode(node, &code);
  return code;
}

std::string bytes_of(const dnode* node) {
  uint32_t type = 0;
  uint32_t size = 0;
  const void* value = nullptr;
  (void)oxdGetValue(node, &type, &size, &value);
  std::string bytes(static_cast<const char*>(value), value != nullptr ? size : 0);
  if (type == OX_DISPLAYSTRING && bytes.ends_with('\0')) bytes.pop_back();
  return bytes;
}

nlohmann::json number_of(const dnode* node) {
  int32_t number = 0;
  uint32_t natural = 0;
  uint64_t wide = 0;
  oxdType info{};
  (void)oxdTypeInfo(static_cast<uint32_t>(oxdGetValueType(node)), &info);
  switch (info.form) {
    case OXD_SIGNED32:
      return oxdGetValueByLong(node, &number) == OX_OK ? nlohmann::json(number) : nlohmann::json();
    case OXD_UNSIGNED32:
      return oxdGetValueByUlong(node, &natural) == OX_OK ? nlohmann::json(natural) : nlohmann::json();
    case OXD_UNSIGNED64:
      return oxdGetValueByUlonglong(node, &wide) == OX_OK ? nlohmann::json(wide) : nlohmann::json();
    default:
      return {};
  }
}

// The value's bytes beside a text that is not whole.
void add_raw(nlohmann::json& entry, const dnode* node) {
  const std::string text = entry["text"];
  if (!utf8_of(text).whole) entry["raw"] = hex_of(bytes_of(node));
}

std::string unescape(const std::string& format) {
  std::string result;
  unsigned taken = 0;
  for (const char* at = format.c_str(); *at != '\0'; at += taken) {
    taken = character_size(at);
    const char* const known = *at == '\\' && at[1] != '\0' ? std::strchr("nt\\", at[1]) : nullptr;
    if (known == nullptr) {
      result.append(at, taken);
    } else {
      result += *known == 'n' ? '\n' : *known == 't' ? '\t' : '\\';
      taken = 2;
    }
  }
  return result;
}

}  // namespace

std::string shown_name(const std::string& path) {
  const char* name = nullptr;
  if (oxbStrName(path.c_str(), &name) != OX_OK) return path;
  std::string_view text = name;
  if (text.starts_with(standard_prefix)) return "." + std::string(text.substr(standard_prefix.size()));
  if (text.starts_with(enterprise_prefix)) return "~" + std::string(text.substr(enterprise_prefix.size()));
  return std::string(text);
}

bool print_table(dnode* list, bool raw) {
  Rows rows(Form::table, {{}, {}, {}});
  bool good = true;
  for (dnode* node = list; node != nullptr; node = oxdNext(node)) {
    const uint32_t error = error_of(node);
    good = good && error == OX_OK;
    const std::string value = error != OX_OK ? "error " + std::to_string(error) + ": " + error_text(error)
                              : raw          ? oxdGetValueByRawStr(node)
                                             : oxdGetValueByStr(node);
    rows.add({component_of(node), name_of(node), value});
  }
  rows.end();
  return good;
}

bool print_formatted(dnode* list, const std::string& format) {
  const std::string plain = unescape(format);
  bool good = true;
  for (dnode* node = list; node != nullptr; node = oxdNext(node)) {
    print(stdout, oxdDnodeToStr(plain.c_str(), node));
    good = good && error_of(node) == OX_OK;
  }
  return good;
}

bool print_json(dnode* list, int indent) {
  nlohmann::json nodes = nlohmann::json::array();
  bool good = true;
  for (dnode* node = list; node != nullptr; node = oxdNext(node)) {
    nlohmann::json entry{{"component", component_of(node)}, {"name", name_of(node)}, {"path", path_of(node)}};
    if (const uint32_t error = error_of(node)) {
      good = false;
      entry["error"] = error;
      entry["message"] = error_text(error);
    } else if (oxdGetValueType(node) != -1) {
      entry["type"] = oxdGetValueType(node);
      entry["text"] = oxdGetValueByStr(node);
      const nlohmann::json number = number_of(node);
      entry["value"] = number.is_null() ? nlohmann::json(oxdGetValueByRawStr(node)) : number;
      add_raw(entry, node);
    }
    nodes.push_back(std::move(entry));
  }
  std::puts(json_text(nodes, indent).c_str());
  return good;
}

}  // namespace tool
