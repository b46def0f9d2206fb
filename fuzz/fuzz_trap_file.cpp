// A trap definition file: whatever it holds, its definitions stand in the list's order and each is found, or hidden by
// one before it that matches the same traps.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>

#include <oxbase/oxc.h>

namespace {

void expect(bool condition) {
  if (!condition) std::abort();
}

// A file of this process's own, written over for every input.
const std::string& path() {
  static const std::string made = [] {
    const auto folder = std::filesystem::temp_directory_path() / ("ox_trap_" + std::to_string(std::random_device()()));
    std::filesystem::create_directories(folder);
    static const auto owned = folder;
    std::atexit([] { std::filesystem::remove_all(owned); });
    return (folder / "user.def").string();
  }();
  return made;
}

bool matches(const oxcTrTag& tag, const oxcTrTag& trap) {
  return std::strcmp(tag.enterprise, trap.enterprise) == 0 &&
         (tag.anyGeneric != 0 || tag.genericCode == trap.genericCode) &&
         (tag.anySpecific != 0 || tag.specificCode == trap.specificCode);
}

void check(const oxcTrConf* list) {
  for (const oxcTrTag* tag = oxcTrFirstTag(list); tag != nullptr; tag = tag->next) {
    expect(tag->severity >= 1 && tag->severity <= 4 && tag->userDefined == 1 && tag->line != 0);
    expect((tag->timeStamp[0] == nullptr) == (tag->timeStamp[1] == nullptr));
    if (*tag->enterprise == '\0') continue;
    const oxcTrTag* first = oxcTrFirstTag(list);
    while (!matches(*first, *tag)) first = first->next;
    const oxcTrTag* found = nullptr;
    expect(oxcTrSearchTagConfList(list, tag->enterprise, tag->genericCode, tag->specificCode, &found) == OX_OK);
    expect(found == first);
    char* detail = nullptr;
    expect(oxcTrReMakeDetail(tag, nullptr, &detail) == OX_OK);
    oxcMemFree(detail);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::FILE* file = std::fopen(path().c_str(), "wb");
  expect(file != nullptr && std::fwrite(data, 1, size, file) == size && std::fclose(file) == 0);
  oxcTrConf* list = oxcTrAllocConf();
  expect(oxcTrMakeConfList(list, path().c_str()) == OX_OK);
  check(list);
  oxcTrFreeConf(list);
  const auto ignore = [](void*, const char*, uint32_t line, OX_RESULT code, const char* subject) {
    expect(line != 0 && code != OX_OK && subject != nullptr);
  };
  expect(oxcTrCheckFile(path().c_str(), ignore, nullptr) == OX_OK);
  return 0;
}
