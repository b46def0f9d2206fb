#include "tests/support/system_root.h"

#include <cstdlib>
#include <filesystem>

#include "platform/linux/object.h"

namespace fs = std::filesystem;

namespace ox::test {

void set_environment(const char* name, const char* value) { setenv(name, value, 1); }

void prepare_console() {}

const char* foreign_group() { return "tape"; }

void remove_settings() { fs::remove(system_root() + "/registry.reg"); }

std::string machine_path(const std::string& path) { return path; }

std::string as_shown_in_japan(const char* text) { return text; }

bool make_full_file(const std::string& path) {
  fs::create_symlink("/dev/full", path);
  return true;
}

void remove_system() {
  platform::sweep_objects();  // left by processes that tests have killed; without the root nobody finds them again
  fs::remove_all(system_root());
}

}  // namespace ox::test
