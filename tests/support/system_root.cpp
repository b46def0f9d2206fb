#include "tests/support/system_root.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "platform/environment.h"
#include "tests/support/registry.h"

namespace fs = std::filesystem;

namespace ox::test {
namespace {

// A directory that no other process has.
std::string make_root() {
  const fs::path stem = fs::temp_directory_path() / ("oxtest-" + std::to_string(platform::process_id()) + "-");
  for (int count = 0;; ++count) {
    const std::string root = stem.string() + std::to_string(count);
    if (fs::create_directory(root)) return root;
  }
}

}  // namespace

const std::string& system_root() {
  static const std::string root = [] {
    const std::string made = make_root();
    set_environment("OXBASE_SYSTEM", made.c_str());
    fs::create_directories(fs::path(made) / "home");
    fs::create_directories(fs::path(made) / "work" / "tmp");
    return made;
  }();
  return root;
}

std::string home_dir() { return system_root() + "/home"; }
std::string work_dir() { return system_root() + "/work"; }

void install_settings() {
  (void)system_root();
  remove_settings();  // of an earlier process of the same number that was ended
  set_value("HomeDir", home_dir().c_str());
  set_value("WorkDir", work_dir().c_str());
}

void write_file(const std::string& path, std::string_view contents) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
  ASSERT_TRUE(file.good()) << path;
}

std::string read_file(const std::string& path, std::ios::openmode mode) {
  std::ifstream file(path, mode);
  EXPECT_TRUE(file.good()) << path;
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string native(std::string path) {
  std::replace(path.begin(), path.end(), '/', static_cast<char>(fs::path::preferred_separator));
  return path;
}

}  // namespace ox::test
