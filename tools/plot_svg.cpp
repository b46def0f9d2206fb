// A plot as SVG. Its colours follow the reader's choice of light or dark.
#include <algorithm>
#include <string_view>

#include "tools/plot.h"
#include "tools/rows.h"
#include "tools/steps.h"

namespace tool {
namespace {

constexpr double width = 960;
constexpr double left = 64, right = 16;  // of the drawing ground
constexpr double title_height = 40;
constexpr double panel_height = 220;
constexpr double top = 30, bottom = 34;  // of it in its panel
constexpr double ground_width = width - left - right;
constexpr double ground_height = panel_height - top - bottom;

// Plain rules first: not every viewer knows more.
constexpr char style[] =
    "<style>\n"
    ".ground { fill: #ffffff; }\n"
    "text { font: 12px system-ui, sans-serif; fill: #5b6470; }\n"
    ".title { font-size: 15px; font-weight: 600; }\n"
    ".name { font-weight: 600; }\n"
    ".title, .name { fill: #1b1f24; }\n"
    ".grid { stroke: #e3e6ea; stroke-width: 1; }\n"
    ".curve { fill: none; stroke: #0b63c5; stroke-width: 1.6; stroke-linejoin: round; stroke-linecap: round; }\n"
    ".gap { fill: url(#hatch); stroke: #c2410c; stroke-opacity: 0.5; }\n"
    ".hatch { stroke: #c2410c; stroke-width: 1.5; stroke-opacity: 0.55; }\n"
    ".reason { fill: #c2410c; }\n"
    "@media (prefers-color-scheme: dark) {\n"
    ".ground { fill: #14171b; } text { fill: #9aa3ad; } .title, .name { fill: #e6e8eb; } .grid { stroke: #2b3138; }\n"
    ".curve { stroke: #6cb2ff; } .gap, .hatch { stroke: #ff9d5c; } .reason { fill: #ff9d5c; }\n"
    "}\n"
    "</style>\n"
    "<defs><pattern id=\"hatch\" width=\"6\" height=\"6\" patternUnits=\"userSpaceOnUse\" "
    "patternTransform=\"rotate(45)\"><line class=\"hatch\" x1=\"0\" y1=\"0\" x2=\"0\" y2=\"6\"/></pattern></defs>\n";

std::string coordinate(double value) {
  char text[32];
  (void)std::snprintf(text, sizeof text, "%.1f", value);
  return text;
}

class Svg {
 public:
  Svg(const Plot& plot, std::FILE* out) : plot_(plot), out_(out) {}

  void write() {
    const double height = title_height + panel_height * static_cast<double>(plot_.panels.size()) + 8;
    const std::string size = coordinate(width) + "\" height=\"" + coordinate(height);
    put("<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + size + "\" viewBox=\"0 0 " + coordinate(width) + ' ' +
        coordinate(height) + "\" role=\"img\">\n<title>" + xml_text(plot_.title) + "</title>\n");
    put(style);
    put("<rect class=\"ground\" width=\"100%\" height=\"100%\"/>\n");
    text(left, 26, "title", "start", plot_.title);
    double y = title_height;
    for (const Panel& panel : plot_.panels) {
      write(panel, y + top);
      y += panel_height;
    }
    put("</svg>\n");
  }

 private:
  void put(const std::string& text) { (void)std::fwrite(text.data(), 1, text.size(), out_); }
  void text(double x, double y, const char* kind, const char* anchor, const std::string& words) {
    put("<text class=\"" + std::string(kind) + "\" x=\"" + coordinate(x) + "\" y=\"" + coordinate(y) +
        "\" text-anchor=\"" + anchor + "\">" + xml_text(words) + "</text>\n");
  }
  void line(double x1, double y1, double x2, double y2) {
    put("<line class=\"grid\" x1=\"" + coordinate(x1) + "\" y1=\"" + coordinate(y1) + "\" x2=\"" + coordinate(x2) +
        "\" y2=\"" + coordinate(y2) + "\"/>\n");
  }
  [[nodiscard]] double x_of(std::uint64_t ms) const { return left + ground_width * place_of(plot_, ms); }

  // `y` is the upper edge of the panel's ground.
  void write(const Panel& panel, double y) {
    const Summary summary = summary_of(panel);
    const Scale scale = scale_of(summary, 4);
    text(left, y - 10, "name", "start", panel.title);
    text(left + ground_width, y - 10, "summary", "end", summary_line(summary));
    for (const double tick : scale.ticks) {
      const double at = y + ground_height * (1 - scale.place(tick));
      line(left, at, left + ground_width, at);
      text(left - 8, at + 4, "tick", "end", short_number(tick));
    }
    for (const TimeTick& tick : time_ticks(plot_, 8)) {
      line(x_of(tick.ms), y, x_of(tick.ms), y + ground_height);
      text(x_of(tick.ms), y + ground_height + 18, "tick", "middle", tick.text);
    }
    for (const Gap& gap : gaps_of(plot_, panel)) write(gap, y);
    write_curve(panel, scale, y);
  }

  void write(const Gap& gap, double y) {
    constexpr double character = 6.5;  // of a reason, about
    const double from = x_of(gap.from);
    const double size = std::max(x_of(gap.to) - from, 1.5);
    put("<rect class=\"gap\" x=\"" + coordinate(from) + "\" y=\"" + coordinate(y) + "\" width=\"" + coordinate(size) +
        "\" height=\"" + coordinate(ground_height) + "\"><title>" + xml_text(gap_line(plot_, gap)) +
        "</title></rect>\n");
    if (character * static_cast<double>(gap.reason.size()) < size) {
      text(from + size / 2, y + 14, "reason", "middle", gap.reason);
    }
  }

  // One path, with a move behind each gap; a number between two gaps is a dot.
  void write_curve(const Panel& panel, const Scale& scale, double y) {
    std::string path;
    bool moved = false;
    for (const Point& point : panel.points) {
      if (point.number) {
        const std::string spot =
            coordinate(x_of(point.ms)) + ' ' + coordinate(y + ground_height * (1 - scale.place(*point.number)));
        path += (moved ? " L" : path.empty() ? "M" : " M") + spot + (moved ? "" : " L" + spot);
      }
      moved = point.number.has_value();
    }
    if (!path.empty()) put("<path class=\"curve\" d=\"" + path + "\"/>\n");
  }

  const Plot& plot_;
  std::FILE* out_;
};

}  // namespace

std::string xml_text(std::string_view text) {
  std::string made;
  for (const char c : text) {
    switch (c) {
      case '&':
        made += "&amp;";
        break;
      case '<':
        made += "&lt;";
        break;
      case '>':
        made += "&gt;";
        break;
      case '"':
        made += "&quot;";
        break;
      default:
        made += static_cast<unsigned char>(c) < ' ' || c == '\x7F' ? '?' : c;
    }
  }
  return utf8_of(made).text;
}

void write_svg(const Plot& plot, std::FILE* out) { Svg(plot, out).write(); }

}  // namespace tool
