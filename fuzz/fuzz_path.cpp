// Written paths: the forms of a path name the same node, and the object part is that node's.
#include "amib/tree.h"
#include "fuzz/amib_tree.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using ox::fuzz::expect;
  if (!ox::amib::is_attached()) ox::fuzz::load_small_tree();
  const std::string path(reinterpret_cast<const char*>(data), size);
  std::uint32_t node = 0;
  std::uint32_t again = 0;
  const char* text = nullptr;
  const char* instance = nullptr;
  const bool found = oxbEntry(path.c_str(), &node) == OX_OK;
  const bool split = oxbSplit(path.c_str(), &text, &instance) == OX_OK;
  expect(!split || found);
  if (oxbNumName(path.c_str(), &text) == OX_OK && found) expect(oxbEntry(text, &again) == OX_OK && again == node);
  if (oxbStrName(path.c_str(), &text) == OX_OK && found) {
    expect(oxbEntry(text, &again) == OX_OK && again == node);
    expect(oxbStrName(text, &text) == OX_OK && oxbBasename(text, &text) == OX_OK);
  }
  return 0;
}
