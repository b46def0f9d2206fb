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

void ox::fuzz::run(std::string_view rest) {
  load_small_tree();
  for (int files = 0; files < 4; ++files) {
    const std::size_t end = rest.find('\f');
    const std::size_t before = check_tree();
    const OX_RESULT result = oxbAddAmibTree(folder().write("input.def", rest.substr(0, end)).c_str());
    expect(check_tree() == before || result == OX_OK);
    if (end == std::string_view::npos) break;
    rest.remove_prefix(end + 1);
  }
  expect(oxbDeleteAmibTree(OXB_TREE) == OX_OK);
}
