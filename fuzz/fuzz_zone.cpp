// Time zones, as texts and as compiled files: what is accepted makes a table in which every time has its place.
#include "common/time_zone.h"
#include "fuzz/target.h"

namespace {

using ox::fuzz::expect;

void check(const ox::ZoneRules& rules) {
  const ox::ZoneTable table(rules.offset, rules.changes);
  for (std::int64_t time = 0; time < INT64_C(0x100000000); time += 86'400 * 97) {
    const std::int64_t first = table.first_at(table.wall(time));
    expect(first <= time && table.wall(first) >= table.wall(time));
    expect(table.wall(first - 1) < table.wall(time));
  }
}

}  // namespace

void ox::fuzz::run(std::string_view input) {
  ZoneRules rules;
  if (read_posix_zone(input, rules)) check(rules);
  if (read_zone_file(input, rules)) check(rules);
}
