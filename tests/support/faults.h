// Faults of definition files as the library tells them.
#pragma once

#include <oxbase/oxf.h>

#include "tests/support/test.h"

namespace ox::test {

[[nodiscard]] inline std::string name_in(const std::string& path) { return path.substr(path.find_last_of("/\\") + 1); }

// "name:line code subject", one a line.
struct Told {
  std::string text;

  static void OX_CALL note(void* told, const char* path, uint32_t line, OX_RESULT code, const char* subject) {
    static_cast<Told*>(told)->text +=
        name_in(path) + ":" + std::to_string(line) + " " + std::to_string(code) + " " + subject + "\n";
  }
};

// "name:line" of the thread's error position, "" without a file.
[[nodiscard]] inline std::string error_position() {
  const char* file = nullptr;
  uint32_t line = 0;
  EXPECT_EQ(0u, oxfGetErrorFile(&file, &line));
  return file != nullptr ? name_in(file) + ":" + std::to_string(line) : "";
}

}  // namespace ox::test
