#include "tests/support/system_root.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace ox::test {

const std::string& system_root() {
  static const std::string root = [] {
    std::string pattern = (fs::temp_directory_path() / "oxtest-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    setenv("OXBASE_SYSTEM", pattern.c_str(), 1);
    fs::create_directories(fs::path(pattern) / "home");
    fs::create_directories(fs::path(pattern) / "work" / "tmp");
    return pattern;
  }();
  return root;
}

std::string home_dir() { return system_root() + "/home"; }
std::string work_dir() { return system_root() + "/work"; }

void install_settings() {
  write_file(system_root() + "/registry.reg",
             "Windows Registry Editor Version 5.00\n\n"
             "[HKEY_LOCAL_MACHINE\\SOFTWARE\\CORVID\\OXBASE]\n"
             "\"HomeDir\"=\"" +
                 home_dir() +
                 "\"\n"
                 "\"WorkDir\"=\"" +
                 work_dir() + "\"\n");
}

void write_file(const std::string& path, std::string_view contents) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
  ASSERT_TRUE(file.good()) << path;
}

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file.good()) << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace ox::test
