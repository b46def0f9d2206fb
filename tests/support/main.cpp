// The tests' main: makes the private system root before anything of the library runs, removes it afterwards.
#include <filesystem>

#include "tests/support/other_process.h"
#include "tests/support/system_root.h"

int main(int argc, char** argv) {
  using namespace ox::test;
  int result = 0;
  own_program() = std::filesystem::absolute(argv[0]).string();  // the manager, which starts it, works elsewhere
  if (OtherProcess::run(argc, argv, result)) return result;
  install_settings();
  testing::InitGoogleTest(&argc, argv);
  result = RUN_ALL_TESTS();
  remove_system();
  return result;
}
