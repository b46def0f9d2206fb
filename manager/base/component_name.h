// Names of components: "type:name".
#pragma once

#include <compare>
#include <string>
#include <string_view>

#include <oxbase/oxtypes.h>

namespace ox::manager {

struct ComponentName {
  std::string type;
  std::string name;
  auto operator<=>(const ComponentName&) const = default;
};

// Splits at the first colon. 59 without a colon, for an empty type or name, and for one of 64 characters or more.
[[nodiscard]] OX_RESULT parse_component_name(std::string_view text, ComponentName& name);
// Whether a name stands for several components ("*").
[[nodiscard]] bool is_pattern(std::string_view name);
// Checks a name that a component is to get: 59 for an empty or long one, for control characters, "*" and "?".
[[nodiscard]] OX_RESULT check_new_name(std::string_view name);
// Checks a type name: 57 for an empty one, 93 for one of 64 characters or more.
[[nodiscard]] OX_RESULT check_type_name(std::string_view type);

}  // namespace ox::manager
