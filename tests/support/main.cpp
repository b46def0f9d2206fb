// The tests' main: makes the private system root before anything of the library runs, removes it afterwards.
#include <gtest/gtest.h>

#include "tests/support/own_program.h"
#include "tests/support/system_root.h"

namespace ox::test {

std::string& own_program() {
  static std::string path;
  return path;
}

PartRunner& part_runner() {
  static PartRunner runner = nullptr;
  return runner;
}

}  // namespace ox::test

int main(int argc, char** argv) {
  int result = 0;
  if (const auto run_part = ox::test::part_runner(); run_part != nullptr && run_part(argc, argv, result)) return result;
  ox::test::own_program() = argv[0];
  ox::test::install_settings();
  testing::InitGoogleTest(&argc, argv);
  result = RUN_ALL_TESTS();
  ox::test::remove_system();
  return result;
}
