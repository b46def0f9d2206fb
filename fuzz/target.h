// The frame of a fuzz target, included once by each.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <oxbase/oxc.h>

namespace ox::fuzz {

// The target: one input, in a block of its exact size.
void run(std::string_view input);

inline void expect(bool condition) {
  if (!condition) std::abort();
}

// A system root of the fuzzer's own.
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

}  // namespace ox::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::vector<char> exact(data, data + size);
  ox::fuzz::run({exact.data(), size});
  return 0;
}
