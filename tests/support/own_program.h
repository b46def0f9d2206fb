// What a test program knows of itself.
#pragma once

#include <string>

namespace ox::test {

// The program's path, as it was started.
[[nodiscard]] std::string& own_program();

}  // namespace ox::test
