// What stands on a page, and how finely it is drawn.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "report/page.h"

namespace report {

// Of one graph and one instance: the results that have numbers.
struct Plot {
  std::size_t graph = 0;
  std::size_t instance = 0;
  std::vector<std::size_t> results;  // those with numbers
};

// Rounds that never were, for all, as of a manager that did not run.
struct CommonShade {
  std::uint32_t from = 0;
  std::uint32_t to = 0;  // the next round; UINT32_MAX: none
  std::string reason;
};

struct Layout {
  explicit Layout(const Page& page);

  std::vector<Plot> plots;       // graph by graph, components and indexes in their order
  std::size_t rounds = 1;        // that are one step of a plot
  std::size_t drawn_rounds = 1;  // of a drawing without scripts
  std::vector<CommonShade> common;
};

// The numbers of the plots as JSON, column by column.
void write_plot_data(const Page& page, const Layout& layout, std::FILE* out);

}  // namespace report
