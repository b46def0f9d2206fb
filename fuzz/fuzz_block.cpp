// Any bytes as a block of collected cells, and as staged ones: what reads is packed, and reads as the same cells.
#include "fuzz/target.h"
#include "manager/series/block.h"
#include "manager/series/entry.h"

namespace {

using namespace ox::manager;
using ox::fuzz::expect;

bool same(const Cell& a, const Cell& b) {
  Bytes one, other;
  a.append_value(one);
  b.append_value(other);
  return a.place == b.place && a.reading == b.reading && a.type == b.type && a.status == b.status && a.form == b.form &&
         one == other;
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  const auto bytes = std::as_bytes(std::span(input));
  BlockReader reader;
  std::vector<Cell> cells, again;
  if (reader.read(bytes, rounds_of_segment, cells)) {
    Bytes packed;
    BlockWriter().write(cells, packed);
    expect(reader.read(packed, rounds_of_segment, again) && std::ranges::equal(cells, again, &same));
  }
  const auto layout = std::make_shared<Layout>();
  for (std::uint32_t i = 0; i < 4; ++i) (void)layout->series({i, i, i});
  OpenEntry entry(layout, 0, {});
  entry.apply(bytes);
  for (const Tail& tail : entry.filling().tails) {
    cells.clear();
    expect(read_cells(tail.bytes, cells));
  }
  expect(entry.counts().balanced());
}
