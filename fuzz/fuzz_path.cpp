// Written paths: the forms of a path name the same node, and the object part is that node's.
#include "fuzz/amib_tree.h"

void ox::fuzz::run(std::string_view input) {
  keep_small_tree();
  const std::string path(input);
  std::uint32_t node = 0, again = 0;
  const char* text = nullptr;
  const char* instance = nullptr;
  const bool found = oxbEntry(path.c_str(), &node) == OX_OK;
  expect(oxbSplit(path.c_str(), &text, &instance) != OX_OK || found);
  for (const auto convert : {oxbNumName, oxbStrName}) {
    if (convert(path.c_str(), &text) != OX_OK || !found) continue;
    expect(oxbEntry(text, &again) == OX_OK && again == node);
    expect(oxbStrName(text, &text) == OX_OK && oxbBasename(text, &text) == OX_OK);
  }
}
