// An installation of a benchmark's own, from the shipped files.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "platform/registry.h"

namespace ox::bench {

[[noreturn]] inline void give_up(const std::string& what, std::uint32_t code = 0) {
  std::fprintf(stderr, "%s: %u\n", what.c_str(), code);
  std::_Exit(1);
}

// From now on this process works with a system root of its own.
inline std::filesystem::path make_system_root() {
  std::string made = (std::filesystem::temp_directory_path() / "oxbench-XXXXXX").string();
  if (mkdtemp(made.data()) == nullptr || setenv("OXBASE_SYSTEM", made.c_str(), 1) != 0) give_up("system root");
  return made;
}

// The one that is named, or else one of its own.
inline std::filesystem::path system_root() {
  const char* const named = std::getenv("OXBASE_SYSTEM");
  return named != nullptr ? named : make_system_root();
}

inline void install(const std::filesystem::path& folder, const std::string& settings) {
  namespace fs = std::filesystem;
  constexpr auto over = fs::copy_options::recursive | fs::copy_options::overwrite_existing;
  for (const char* const made : {"work/conf", "work/data", "home"}) fs::create_directories(folder / made);
  fs::copy(OX_SHARE_DIR "/LIB", folder / "home/LIB", over);
  fs::copy(OX_SHARE_DIR "/public", folder / "work/public", over);
  std::ofstream(folder / "work/conf/oxmgrd.cf") << settings;
  constexpr char key[] = "SOFTWARE\\CORVID\\OXBASE";
  if (platform::registry_write(key, "HomeDir", (folder / "home").c_str()) != 0 ||
      platform::registry_write(key, "WorkDir", (folder / "work").c_str()) != 0) {
    give_up("registry");
  }
}

}  // namespace ox::bench
