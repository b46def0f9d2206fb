// One look at the installation's registry key.
#pragma once

#include <string>

#include "platform/registry.h"

namespace ox::test {

constexpr char registry_key[] = "SOFTWARE\\CORVID\\OXBASE";

// The text of a value, "#" and the number of one, "absent" without either.
inline std::string registry_value(const std::string& name) {
  std::string text = "absent";
  std::uint32_t number = 0;
  if (platform::registry_read(registry_key, name.c_str(), number) == 0) return "#" + std::to_string(number);
  (void)platform::registry_read(registry_key, name.c_str(), text, 1024);
  return text;
}

}  // namespace ox::test
