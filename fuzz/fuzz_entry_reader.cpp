// The reader of keyword definition files, through a file. The first byte of the input makes the first line longer, so
// that short inputs reach the limits of keyword and line.
#include <cstring>
#include <memory>

#include "fuzz/target.h"

void ox::fuzz::run(std::string_view input) {
  static const auto entry = std::make_unique<oxcConfigEntry>();
  if (input.empty()) return;
  const std::string padding(static_cast<unsigned char>(input.front()) * std::size_t{64}, 'k');
  const std::string path = folder().write("input", padding + std::string(input.substr(1)));
  expect(oxcSetConfigEntry(path.c_str()) == OX_OK);
  std::uint32_t line = 0;
  for (OX_RESULT result; (result = oxcGetConfigEntry(nullptr, nullptr, nullptr, entry.get())) != OX_ENOTFOUND;) {
    expect(result == OX_OK ||
           ((result == OX_ESYNTAX || result == OX_EKEYLONG || result == OX_EQUOTE || result == OX_ETOKENS) &&
            entry->count == 0));
    expect(oxcGetConflineno() > line && std::strlen(entry->keyword) < sizeof entry->keyword);
    line = oxcGetConflineno();
    for (std::uint32_t i = 0; i < entry->count; ++i) (void)oxcMemFree(entry->values[i]);
  }
  (void)oxcEndConfigEntry();
  expect(oxcGetMemValue(1) == 0);
}
