// The platform's part of the private system root.
#pragma once

#include <string>

namespace ox::test {

// Makes a directory that no other process has.
[[nodiscard]] std::string make_root();

}  // namespace ox::test
