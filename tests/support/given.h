// Calls that give their result through their last argument.
#pragma once

#include <type_traits>

#include <oxbase/oxtypes.h>

#include "tests/support/test.h"

namespace ox::test {

// The text or number that a call gives through its last argument, or its result code behind a "!": a failure must leave
// the argument as it was.
template <class Value, class Call, class... Arguments>
[[nodiscard]] std::string given(Call call, Arguments... arguments) {
  Value value{};
  if constexpr (std::is_pointer_v<Value>) {
    value = "untouched";
  } else {
    value = 77;
  }
  const Value before = value;
  const OX_RESULT result = call(arguments..., &value);
  if (result != OX_OK) {
    EXPECT_EQ(before, value);
    return "!" + std::to_string(result);
  }
  if constexpr (std::is_pointer_v<Value>) {
    return value != nullptr ? value : "null";
  } else {
    return std::to_string(value);
  }
}

}  // namespace ox::test
