// A trap definition file: whatever it holds, its definitions stand in the list's order and each is found, or hidden by
// one before it that matches the same traps.
#include <cstring>

#include "fuzz/target.h"

namespace {

using ox::fuzz::expect;

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

void ox::fuzz::run(std::string_view input) {
  const std::string path = folder().write("user.def", input);
  oxcTrConf* list = oxcTrAllocConf();
  expect(oxcTrMakeConfList(list, path.c_str()) == OX_OK);
  check(list);
  oxcTrFreeConf(list);
  const auto ignore = [](void*, const char*, uint32_t line, OX_RESULT code, const char* subject) {
    expect(line != 0 && code != OX_OK && subject != nullptr);
  };
  expect(oxcTrCheckFile(path.c_str(), ignore, nullptr) == OX_OK);
}
