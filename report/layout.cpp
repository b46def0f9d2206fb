#include "report/layout.h"

#include <algorithm>

namespace report {
namespace {

// A plot shows no more steps than a screen has columns, and fewer where there are many plots: a page can be sent.
constexpr std::size_t most_steps = 1500;
constexpr std::size_t least_steps = 240;
constexpr std::size_t steps_of_page = 80000;
// Of a drawing without scripts.
constexpr std::size_t drawn_steps = 30000;

bool natural_less(const std::string& a, const std::string& b) {
  for (std::size_t i = 0, j = 0; i < a.size() && j < b.size();) {
    const std::size_t a_end = std::min(a.find_first_not_of("0123456789", i), a.size());
    const std::size_t b_end = std::min(b.find_first_not_of("0123456789", j), b.size());
    if (a_end - i != b_end - j) return a_end - i < b_end - j;
    const int order = a.compare(i, a_end - i, b, j, b_end - j);
    if (order != 0) return order < 0;
    if (a_end == a.size() || b_end == b.size() || a[a_end] != b[b_end]) {
      return a.substr(a_end) < b.substr(b_end);
    }
    i = a_end + 1;
    j = b_end + 1;
  }
  return a.size() < b.size();
}

// How many rounds become one step, so that there are not more of them.
std::size_t rounds_for(std::size_t times, std::size_t steps) {
  return std::max<std::size_t>(1, (times + steps - 1) / steps);
}

std::vector<std::size_t> order_of(const std::vector<Instance>& instances) {
  std::vector<std::size_t> order(instances.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  std::sort(order.begin(), order.end(), [&instances](std::size_t a, std::size_t b) {
    const int components = instances[a].component.compare(instances[b].component);
    return components != 0 ? components < 0 : natural_less(instances[a].index, instances[b].index);
  });
  return order;
}

std::vector<CommonShade> common_shades(const Page& page) {
  const std::vector<std::uint32_t>& times = page.curves->times();
  std::vector<CommonShade> common;
  for (const tool::GapRow& gap : page.gaps) {
    if (gap.component != "*") continue;
    const auto next = std::upper_bound(times.begin(), times.end(), gap.to);
    const std::uint32_t to = next != times.end() ? *next : UINT32_MAX;
    if (!common.empty() && common.back().to == to && common.back().reason == gap.reason) continue;
    common.push_back({std::max(gap.from, page.from), to, gap.reason});
  }
  return common;
}

}  // namespace

Layout::Layout(const Page& page) : common(common_shades(page)) {
  const std::vector<std::size_t> order = order_of(*page.instances);
  std::size_t curves = 0;
  for (std::size_t graph = 0; graph < page.definition->graphs.size(); ++graph) {
    for (const std::size_t number : order) {
      Plot plot{graph, number, {}};
      for (const std::size_t result : page.definition->graphs[graph].results) {
        if (page.curves->has_numbers(number, result)) plot.results.push_back(result);
      }
      curves += plot.results.size();
      if (!plot.results.empty()) plots.push_back(std::move(plot));
    }
  }
  const std::size_t times = page.curves->times().size();
  curves = std::max<std::size_t>(curves, 1);
  rounds = rounds_for(times, std::clamp(steps_of_page / curves, least_steps, most_steps));
  drawn_rounds = rounds_for(times, std::clamp<std::size_t>(drawn_steps / curves, 60, 300));
}

}  // namespace report
