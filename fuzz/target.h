// The frame of a fuzz target, included once by each.
#pragma once

#include <concepts>
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

// What an encoder makes of a record, as a string; the codes that it may answer beside 0 are the target's.
template <class Record, class Encode>
[[nodiscard]] OX_RESULT bytes_of(const Record& record, Encode encode, std::string& bytes) {
  void* block = nullptr;
  std::uint32_t length = 0;
  const OX_RESULT result = encode(record, &block, &length);
  bytes.assign(static_cast<const char*>(block), length);
  (void)oxcMemFree(block);
  return result;
}

// A record that was decoded goes out, comes back as `same` says, and goes out as the same bytes. Nothing more is asked
// when the encoder answers `refusal`. Both records are released.
template <class Record, class Decode, class Encode, class Release, std::predicate<const Record&, const Record&> Same>
void stable(Record record, Decode decode, Encode encode, Release release, Same same, OX_RESULT refusal = OX_OK) {
  std::string once, again;
  const OX_RESULT result = bytes_of(record, encode, once);
  expect(result == OX_OK || result == refusal);
  if (result == OX_OK) {
    Record second{};
    expect(decode(once.data(), static_cast<std::uint32_t>(once.size()), &second) == OX_OK);
    expect(same(record, second));
    expect(bytes_of(second, encode, again) == OX_OK && once == again);
    (void)release(second);
  }
  (void)release(record);
}
template <class Record, class Decode, class Encode, class Release>
void stable(Record record, Decode decode, Encode encode, Release release, OX_RESULT refusal = OX_OK) {
  stable(
      record, decode, encode, release, [](const Record&, const Record&) { return true; }, refusal);
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
