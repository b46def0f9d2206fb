// Files of report types: what is read has a name and no more values than the file has lines for them; a faulty file
// gives nothing, and says where it is faulty.
#include <array>
#include <cstring>
#include <memory>

#include <oxbase/oxf.h>
#include <oxbase/oxrep.h>

#include "fuzz/target.h"

namespace {

using ox::fuzz::expect;

constexpr const char* keywords[] = {"",          "version",   "reptype",     "compname", "mibname",   "index",
                                    "parameter", "key",       "csvdata",     "calcdata", "graphdata", "formfile",
                                    "helpfile",  "helptopic", "description", "prefix"};

// How often the file has each keyword.
std::array<std::uint32_t, 16> count_lines(const std::string& path) {
  std::array<std::uint32_t, 16> counts{};
  const auto entry = std::make_unique<oxcConfigEntry>();
  expect(oxcSetConfigEntry(path.c_str()) == OX_OK);
  while (oxcGetConfigEntry(nullptr, nullptr, nullptr, entry.get()) == OX_OK) {
    for (std::size_t i = 1; i < counts.size(); ++i) counts[i] += std::strcmp(entry->keyword, keywords[i]) == 0 ? 1 : 0;
    for (std::uint32_t i = 0; i < entry->count; ++i) (void)oxcMemFree(entry->values[i]);
  }
  (void)oxcEndConfigEntry();
  return counts;
}

bool is_list(std::uint32_t number) { return number == 4 || number == 6 || (number >= 8 && number <= 10); }

}  // namespace

void ox::fuzz::run(std::string_view input) {
  const std::string path = folder().write("x.def", input);
  RepType* type = nullptr;
  const OX_RESULT result = oxrepReadRepType(path.c_str(), &type);
  const char* file = nullptr;
  std::uint32_t line = 0;
  (void)oxfGetErrorFile(&file, &line);
  expect((result == OX_OK) == (type != nullptr) && (result == OX_OK) == (file == nullptr));
  if (type == nullptr) return;
  const auto lines = count_lines(path);
  expect(std::strlen(oxrepRepTypeValue(type, OXREP_TYPE_NAME, 0)) < 64);
  for (std::uint32_t number = 1; number < lines.size(); ++number) {
    const std::uint32_t count = oxrepRepTypeCount(type, number);
    expect(count == (is_list(number) ? lines[number] : std::uint32_t{lines[number] != 0}));
    for (std::uint32_t at = 0; at < count; ++at) expect(oxrepRepTypeValue(type, number, at) != nullptr);
  }
  oxrepFreeRepType(type);
}
