// Definition files on top of a small tree: the input is one file or, cut at form feeds, several. Whatever they hold,
// the tree stays whole, and a file that was refused has left nothing in it.
#include "amib/tree.h"
#include "fuzz/amib_tree.h"

namespace {

using namespace ox::amib;
using ox::fuzz::expect;

// Every node of the chain is where its links say; returns their number.
std::size_t check_tree() {
  std::size_t count = 0;
  for (Ref ref = directory()->newest; ref != 0; ref = node_at(ref).created_before, ++count) {
    const Node& node = node_at(ref);
    if (ref == root()) continue;
    expect(node.prev != 0 ? node_at(node.prev).next == ref : node_at(node.parent).child == ref);
    if (node.next != 0) expect(node_at(node.next).prev == ref && node_at(node.next).parent == node.parent);
    const char* path = nullptr;
    std::uint32_t found = 0;
    if (oxbApToStr(ref, &path) == OX_OK) expect(oxbEntry(path, &found) == OX_OK && found == ref);
  }
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  ox::fuzz::load_small_tree();
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  for (int files = 0; files < 4; ++files) {
    const std::size_t end = rest.find('\f');
    const std::size_t before = check_tree();
    const OX_RESULT result = oxbAddAmibTree(ox::fuzz::folder().write("input.def", rest.substr(0, end)).c_str());
    const std::size_t after = check_tree();
    expect(result == OX_OK || after == before);
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
  expect(oxbDeleteAmibTree(OXB_TREE) == OX_OK);
  return 0;
}
