#include "manager/base/component_name.h"

#include <algorithm>

namespace ox::manager {
namespace {

constexpr std::size_t name_limit = 64;  // with the terminator

bool bad_length(std::string_view text) { return text.empty() || text.size() >= name_limit; }

}  // namespace

OX_RESULT parse_component_name(std::string_view text, ComponentName& name) {
  const auto colon = text.find(':');
  if (colon == std::string_view::npos) return OX_ECOMPNAME;
  const auto type = text.substr(0, colon);
  const auto rest = text.substr(colon + 1);
  if (bad_length(type) || bad_length(rest)) return OX_ECOMPNAME;
  name = {std::string(type), std::string(rest)};
  return OX_OK;
}

bool is_pattern(std::string_view name) { return name.find_first_of("*?") != std::string_view::npos; }

OX_RESULT check_new_name(std::string_view name) {
  const bool control = std::any_of(name.begin(), name.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F;
  });
  return bad_length(name) || control || is_pattern(name) ? OX_ECOMPNAME : OX_OK;
}

OX_RESULT check_type_name(std::string_view type) {
  if (type.empty()) return OX_ECOMPTYPE;
  return type.size() >= name_limit ? OX_ETYPENAME : OX_OK;
}

}  // namespace ox::manager
