// The page that a person opens: one HTML file with all that it needs, which asks for nothing from anywhere.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "report/curves.h"
#include "tools/gap_ledger.h"
#include "tools/moment.h"

namespace report {

struct Page {
  std::string title;
  std::string log_entry;
  std::string interval;
  std::uint32_t from = 0;  // of the period that it tells of
  std::uint32_t to = 0;    // its last second
  const oxcZone* zone = nullptr;
  const Definition* definition = nullptr;
  const std::vector<Instance>* instances = nullptr;
  const Curves* curves = nullptr;
  std::vector<tool::GapRow> gaps;  // runs, oldest first
};

// The same page is the same bytes.
void write_page(const Page& page, std::FILE* out);

// A number with so many digits as a plot shows, in the fewest characters that JSON has for it: "7512e3"; "null" of NaN.
[[nodiscard]] std::string plot_number(double number);
// A number with its unit: "1.23 Mbit/s", "99.98 %".
[[nodiscard]] std::string shown_quantity(double number, const std::string& unit);

}  // namespace report
