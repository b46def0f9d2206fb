// A system root of the fuzzer's own with a small tree in it.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>

#include <oxbase/oxb.h>

namespace ox::fuzz {

class Folder {
 public:
  Folder() : path_(std::filesystem::temp_directory_path() / ("ox-fuzz-" + std::to_string(std::random_device()()))) {
    std::filesystem::create_directories(path_);
    setenv("OXBASE_SYSTEM", path_.c_str(), 1);
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  [[nodiscard]] std::string write(const char* name, std::string_view text) const {
    std::ofstream(path_ / name, std::ios::binary) << text;
    return (path_ / name).string();
  }

 private:
  std::filesystem::path path_;
};

inline const Folder& folder() {
  static const Folder made;
  return made;
}

inline void load_small_tree() {
  static const std::string path = folder().write("small.def",
                                                 "obj amibtop.11 AMIBNONE not-accessible NULL-ACS\n"
                                                 "cmn obj.1 AMIBNONE not-accessible NULL-ACS\n"
                                                 "cmnName cmn.1 DisplayString read-write CONF-ACS\n"
                                                 "cmnState cmn.2 INTEGER read-only SNMP-ACS\n"
                                                 "iso amibtop.1 AMIBNONE not-accessible NULL-ACS\n"
                                                 "org iso.3 AMIBNONE not-accessible NULL-ACS\n");
  oxbInitAmibTree(OXB_TREE);
  if (oxbAddAmibTree(path.c_str()) != OX_OK) std::abort();
}

inline void expect(bool condition) {
  if (!condition) std::abort();
}

}  // namespace ox::fuzz
