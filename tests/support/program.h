// Programs started by a test, ended with it.
#pragma once

#include <stdexcept>

#include "platform/program.h"
#include "tests/support/system_root.h"
#include "tests/support/test.h"

namespace ox::test {

using platform::Program;

// Starts arguments[0]; its output and errors are appended to the file. Throws std::runtime_error. It can be asked to
// end when it hears: all do that hear, so a test starts one of them at a time.
[[nodiscard]] inline Program started(const std::vector<std::string>& arguments, const std::string& output_file,
                                     bool hears = false) {
  if (hears) prepare_console();
  Program program;
  if (const auto error = program.start(arguments, {.output_file = output_file, .in_console = hears})) {
    throw std::runtime_error(arguments.front() + ": platform error " + std::to_string(error));
  }
  return program;
}

}  // namespace ox::test
