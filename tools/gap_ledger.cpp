#include "tools/gap_ledger.h"

#include <algorithm>
#include <array>

#include "tools/entries.h"
#include "tools/gap_reasons.h"

namespace tool {
namespace {

constexpr char gap_path[] = "11.14.18";
enum : std::uint32_t { component = 1, amib, index, reason, code, first, last, rounds, values, part };

GapRow gap_row(const std::map<std::uint32_t, Cell>& columns) {
  const auto text = [&columns](std::uint32_t column) {
    const auto found = columns.find(column);
    return found != columns.end() ? found->second.shown : std::string();
  };
  const auto number = [&columns](std::uint32_t column) -> std::uint64_t {
    const auto found = columns.find(column);
    return found != columns.end() && found->second.value.is_number() ? found->second.value.get<std::uint64_t>() : 0;
  };
  const std::string path = text(amib);
  GapRow row{text(component), path == "*" ? path : Series{"", path, ""}.attribute(), text(index), "", 0, 0, 0, 0};
  row.reason = gap_reason(static_cast<std::uint32_t>(number(reason) << 16 | (number(code) & 0xFFFF)));
  row.from = static_cast<std::uint32_t>(number(first));
  row.to = static_cast<std::uint32_t>(number(last));
  row.rounds = number(rounds);
  row.values = number(values);
  return row;
}

}  // namespace

std::vector<GapRow> summed(const std::vector<GapRow>& gaps) {
  std::map<std::array<std::string, 4>, GapRow> sums;
  for (const GapRow& gap : gaps) {
    const auto [found, first] = sums.try_emplace({gap.component, gap.attribute, gap.index, gap.reason}, gap);
    if (first) continue;
    found->second.from = std::min(found->second.from, gap.from);
    found->second.to = std::max(found->second.to, gap.to);
    found->second.rounds += gap.rounds;
    found->second.values += gap.values;
  }
  std::vector<GapRow> rows;
  for (auto& [key, row] : sums) rows.push_back(std::move(row));
  std::stable_sort(rows.begin(), rows.end(), [](const GapRow& a, const GapRow& b) { return a.values > b.values; });
  return rows;
}

std::vector<GapRow> gap_rows(const char* manager, const std::string& log_entry, const Window& window,
                             const Choice& choice) {
  std::vector<GapRow> gaps;
  for (const auto& [number, columns] :
       ledger(manager, "logEnt:" + log_entry, gap_path, {{window.from, window.to, 0, 0, window.rounds}})) {
    GapRow gap = gap_row(columns);
    if (choice.holds({gap.component, gap.attribute, gap.index})) gaps.push_back(std::move(gap));
  }
  return gaps;
}

}  // namespace tool
