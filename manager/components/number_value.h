// Numbers of 4 bytes as stored values, and back.
#pragma once

#include <cstdint>

#include <oxbase/oxbytes.h>
#include <oxbase/oxtypes.h>

#include "manager/components/store.h"

namespace ox::manager {

[[nodiscard]] inline Value number_value(std::uint32_t number, std::uint32_t type = OX_INTEGER) {
  Value value{.type = type, .bytes = std::string(4, '\0')};
  auto* at = reinterpret_cast<unsigned char*>(value.bytes.data());
  (void)set_long(&at, number);
  return value;
}

// 0 for no value, and for one of another form.
[[nodiscard]] inline std::uint32_t number_of(const Value* value) {
  if (value == nullptr || value->bytes.size() != 4) return 0;
  return peek_long(reinterpret_cast<const unsigned char*>(value->bytes.data()));
}

}  // namespace ox::manager
