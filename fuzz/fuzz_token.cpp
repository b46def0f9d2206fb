// The token splitter: what it delivers lies inside the line, in order. The wildcard matcher: it agrees with the plain
// table method.
#include "common/wildcard.h"
#include "fuzz/target.h"

namespace {

using ox::fuzz::expect;

void split(std::string line, const char* separators, std::uint32_t maximum) {
  std::vector<char> block(line.c_str(), line.c_str() + std::string(line.c_str()).size() + 1);
  std::vector<char*> tokens(maximum);
  std::uint32_t count = 0;
  const OX_RESULT result = oxcToken(block.data(), separators, tokens.data(), maximum, &count);
  expect(result == OX_OK || result == OX_EQUOTE || (result == OX_ETOKENS && count == maximum));
  const char* free = block.data();
  for (std::uint32_t i = 0; i < count; ++i) {
    expect(tokens[i] >= free);
    free = tokens[i] + std::string(tokens[i]).size() + 1;
    expect(free <= block.data() + block.size());
  }
}

std::vector<std::uint32_t> units(const ox::CodePage& page, const std::string& text) {
  std::vector<std::uint32_t> units;
  for (const char* p = text.c_str(); *p != '\0';) {
    std::uint32_t unit = 0;
    for (unsigned left = page.size(p); left != 0; --left) unit = unit << 8 | static_cast<unsigned char>(*p++);
    units.push_back(unit);
  }
  return units;
}

bool table_match(const std::vector<std::uint32_t>& pattern, const std::vector<std::uint32_t>& text) {
  std::vector<bool> row(text.size() + 1);  // row[j]: the pattern so far matches the first j units
  row[0] = true;
  for (const std::uint32_t unit : pattern) {
    std::vector<bool> next(text.size() + 1);
    next[0] = unit == '*' && row[0];
    for (std::size_t j = 1; j <= text.size(); ++j) {
      next[j] = unit == '*' ? row[j] || next[j - 1] : row[j - 1] && (unit == '?' || unit == text[j - 1]);
    }
    row = std::move(next);
  }
  return row.back();
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  if (input.size() < 2) return;
  const auto choice = static_cast<unsigned char>(input.front());
  const std::string line(input.substr(1));
  const char* const separators[] = {nullptr, ".", "/", ":", " ,\t", ""};
  split(line, separators[choice % 6], choice / 6);

  const std::size_t cut = line.find('\n');
  if (cut == std::string::npos || input.size() > 512) return;
  const std::string pattern(line.substr(0, cut).c_str());
  const std::string text(line.substr(cut + 1).c_str());
  for (const std::uint32_t number : {ox::platform::shift_jis, ox::platform::utf8}) {
    const ox::CodePage page(number);
    expect(ox::wildcard_match(page, pattern.c_str(), text.c_str()) ==
           table_match(units(page, pattern), units(page, text)));
  }
}
