// What stands on a page, and how finely it is drawn.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
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

// What writes a page or something of it.
class PageWriter {
 protected:
  PageWriter(const Page& page, const Layout& layout, std::FILE* out)
      : page_(page),
        layout_(layout),
        definition_(*page.definition),
        curves_(*page.curves),
        times_(page.curves->times()),
        out_(out) {}

  void put(std::string_view text) { (void)std::fwrite(text.data(), 1, text.size(), out_); }

  const Page& page_;
  const Layout& layout_;
  const Definition& definition_;
  const Curves& curves_;
  const std::vector<std::uint32_t>& times_;
  std::FILE* out_;
};

// The numbers of the plots as JSON, column by column.
void write_plot_data(const Page& page, const Layout& layout, std::FILE* out);

}  // namespace report
