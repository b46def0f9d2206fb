// What a test program knows of itself.
#pragma once

#include <string>

namespace ox::test {

// The program's path, as it was started.
[[nodiscard]] std::string& own_program();

// Runs the process's part of another process's test, if it was started for one: false otherwise. Null where a program
// has no such parts.
using PartRunner = bool (*)(int argc, char** argv, int& status);
[[nodiscard]] PartRunner& part_runner();

}  // namespace ox::test
