// The reader of keyword definition files, through a file. The first byte of the input makes the first line longer, so
// that short inputs reach the limits of keyword and line.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>

#include <oxbase/oxc.h>

namespace {

struct ScratchFile {
  std::string path =
      (std::filesystem::temp_directory_path() / ("ox-fuzz-entry-" + std::to_string(std::random_device()()))).string();
  ScratchFile() = default;
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  ~ScratchFile() { std::filesystem::remove(path); }

  void write(const std::uint8_t* data, std::size_t size) const {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) std::abort();
    constexpr std::size_t step = 64;
    const std::string padding(data[0] * step, 'k');
    (void)std::fwrite(padding.data(), 1, padding.size(), file);
    (void)std::fwrite(data + 1, 1, size - 1, file);
    (void)std::fclose(file);
  }
};

bool known(OX_RESULT result) {
  return result == OX_OK || result == OX_ESYNTAX || result == OX_EKEYLONG || result == OX_EQUOTE ||
         result == OX_ETOKENS;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const ScratchFile scratch;
  static const auto entry = std::make_unique<oxcConfigEntry>();
  if (size < 1) return 0;
  scratch.write(data, size);
  if (oxcSetConfigEntry(scratch.path.c_str()) != OX_OK) std::abort();
  std::uint32_t line = 0;
  for (OX_RESULT result; (result = oxcGetConfigEntry(nullptr, nullptr, nullptr, entry.get())) != OX_ENOTFOUND;) {
    if (!known(result) || oxcGetConflineno() <= line) std::abort();
    line = oxcGetConflineno();
    if (std::strlen(entry->keyword) >= sizeof entry->keyword || (result != OX_OK && entry->count != 0)) std::abort();
    for (std::uint32_t i = 0; i < entry->count; ++i) (void)oxcMemFree(entry->values[i]);
  }
  (void)oxcEndConfigEntry();
  if (oxcGetMemValue(1) != 0) std::abort();
  return 0;
}
