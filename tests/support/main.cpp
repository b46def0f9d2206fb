// The tests' main: makes the private system root before anything of the library runs, removes it afterwards.
#include <gtest/gtest.h>

#include "tests/support/system_root.h"

int main(int argc, char** argv) {
  ox::test::install_settings();
  testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  ox::test::remove_system();
  return result;
}
