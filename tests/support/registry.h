// The values of the installation's registry key.
#pragma once

#include "platform/registry.h"
#include "tests/support/test.h"

namespace ox::test {

constexpr char registry_key[] = "SOFTWARE\\CORVID\\OXBASE";

template <class Value>
void set_value(const char* name, Value value) {
  ASSERT_EQ(platform::error_none, platform::registry_write(registry_key, name, value)) << name;
}

// The text of a value, "#" and the number of one, "absent" without either.
inline std::string registry_value(const std::string& name) {
  std::string text = "absent";
  std::uint32_t number = 0;
  if (platform::registry_read(registry_key, name.c_str(), number) == 0) return "#" + std::to_string(number);
  (void)platform::registry_read(registry_key, name.c_str(), text, 1024);
  return text;
}

}  // namespace ox::test
