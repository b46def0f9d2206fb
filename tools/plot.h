// Curves of numbers over time, one panel above the other: in a terminal, or as a picture.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/moment.h"

namespace tool {

struct Point {
  std::uint64_t ms = 0;
  std::optional<double> number;
  std::string gap;  // why there is no number
};

struct Panel {
  std::string title;
  std::vector<Point> points;  // in the order of time
};

struct Plot {
  std::string title;
  const oxcZone* zone = nullptr;
  std::uint64_t from = 0;  // ms
  std::uint64_t to = 0;
  std::vector<Panel> panels;
};

// ---- What both drawings need ----

// Points without a number, one after the other, of one reason: until the next point.
struct Gap {
  std::uint64_t from = 0;  // ms
  std::uint64_t to = 0;
  std::size_t points = 0;
  std::string reason;
};
[[nodiscard]] std::vector<Gap> gaps_of(const Plot& plot, const Panel& panel);
// "2026-11-22 13:05:00 to 13:06:00  no answer, 12 values"
[[nodiscard]] std::string gap_line(const Plot& plot, const Gap& gap);

struct Summary {
  std::size_t numbers = 0;
  double least = 0, most = 0, average = 0, last = 0;
};
[[nodiscard]] Summary summary_of(const Panel& panel);
[[nodiscard]] std::string summary_line(const Summary& summary);

// A range that numbers fit in, with round ends, and the round numbers in it, about so many.
struct Scale {
  double low = 0, high = 1;
  std::vector<double> ticks;
  // 0 at the low end, 1 at the high one.
  [[nodiscard]] double place(double number) const { return (number - low) / (high - low); }
};
[[nodiscard]] Scale scale_of(const Summary& summary, int ticks);

// Moments by the zone's clocks, about so many, and how they are written.
struct TimeTick {
  std::uint64_t ms = 0;
  std::string text;
};
[[nodiscard]] std::vector<TimeTick> time_ticks(const Plot& plot, int ticks);
// 0 at the plot's beginning, 1 at its end.
[[nodiscard]] double place_of(const Plot& plot, std::uint64_t ms);

// ---- Drawings ----

// Into so many columns, each panel of so many rows; in braille dots, else in ASCII.
void print_plot(const Plot& plot, int columns, int rows, bool braille, std::FILE* out);

// A picture as SVG, on light and on dark ground.
void write_svg(const Plot& plot, std::FILE* out);

// Text for XML and HTML, of any bytes: what it may not hold becomes "?".
[[nodiscard]] std::string xml_text(std::string_view text);

}  // namespace tool
