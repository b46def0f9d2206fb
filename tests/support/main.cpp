// The tests' main: makes the private system root before anything of the library runs, removes it afterwards.
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/system_root.h"

int main(int argc, char** argv) {
  ox::test::install_settings();
  testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  std::filesystem::remove_all(ox::test::system_root());
  return result;
}
