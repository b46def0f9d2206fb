// A plot in the characters of a terminal: dots of braille, eight to a character, or stars.
#include <algorithm>
#include <cmath>

#include "tools/plot.h"
#include "tools/rows.h"
#include "tools/steps.h"

namespace tool {
namespace {

// The characters that a drawing is made of.
struct Signs {
  int across, down;  // dots of a character
  const char *side, *tick, *corner, *line, *mark, *shade;
};
constexpr Signs braille_signs = {2, 4, "│", "┤", "└", "─", "┬", "░"};
constexpr Signs ascii_signs = {1, 1, "|", "+", "+", "-", "+", ":"};

class Canvas {
 public:
  Canvas(const Signs& signs, int columns, int rows)
      : signs_(signs),
        columns_(columns),
        rows_(rows),
        dots_(static_cast<std::size_t>(columns * rows)),
        shaded_(static_cast<std::size_t>(columns)) {}

  // Both from 0 to 1, to the right and upward.
  struct Spot {
    double x, y;
  };
  void line(Spot from, Spot to) {
    const double width = columns_ * signs_.across - 1;
    const double height = rows_ * signs_.down - 1;
    const double x = (to.x - from.x) * width;
    const double y = (to.y - from.y) * height;
    const int steps = static_cast<int>(std::ceil(std::max(std::abs(x), std::abs(y))));
    for (int i = 0; i <= steps; ++i) {
      const double part = steps == 0 ? 0 : static_cast<double>(i) / steps;
      dot(static_cast<int>(std::lround(from.x * width + part * x)),
          static_cast<int>(std::lround((1 - from.y) * height - part * y)));
    }
  }
  void shade(double from, double to) {
    const int begin = std::clamp(static_cast<int>(from * columns_), 0, columns_ - 1);
    const int end = std::clamp(static_cast<int>(std::ceil(to * columns_)), begin + 1, columns_);
    std::fill(shaded_.begin() + begin, shaded_.begin() + end, true);
  }
  [[nodiscard]] std::string row(int number) const {
    std::string text;
    for (int column = 0; column < columns_; ++column) text += character(column, number);
    return text;
  }

 private:
  void dot(int x, int y) {
    constexpr unsigned char bits[2][4] = {{0x01, 0x02, 0x04, 0x40}, {0x08, 0x10, 0x20, 0x80}};
    const int place = y / signs_.down * columns_ + x / signs_.across;
    dots_[static_cast<std::size_t>(place)] |= bits[x % signs_.across][y % signs_.down];
  }
  [[nodiscard]] std::string character(int column, int row) const {
    const unsigned char dots = dots_[static_cast<std::size_t>(row * columns_ + column)];
    if (dots == 0) return shaded_[static_cast<std::size_t>(column)] ? signs_.shade : " ";
    if (signs_.across == 1) return "*";
    // Braille patterns begin at U+2800.
    return {'\xE2', static_cast<char>(0xA0 | dots >> 6), static_cast<char>(0x80 | (dots & 0x3F))};
  }

  const Signs& signs_;
  int columns_, rows_;
  std::vector<unsigned char> dots_;
  std::vector<bool> shaded_;
};

std::string repeated(const char* sign, int count) {
  std::string text;
  for (int i = 0; i < count; ++i) text += sign;
  return text;
}

std::string right_aligned(const std::string& text, int width) {
  const int missing = width - static_cast<int>(shown_width(text));
  return std::string(static_cast<std::size_t>(std::max(missing, 0)), ' ') + text;
}

// Numbers at the side, of the rows that they belong to.
std::vector<std::string> side_texts(const Scale& scale, int rows) {
  std::vector<std::string> texts(static_cast<std::size_t>(rows));
  for (const double tick : scale.ticks) {
    texts[static_cast<std::size_t>(std::lround((1 - scale.place(tick)) * (rows - 1)))] = short_number(tick);
  }
  return texts;
}

void draw(Canvas& canvas, const Plot& plot, const Panel& panel, const Scale& scale) {
  for (const Gap& gap : gaps_of(plot, panel)) canvas.shade(place_of(plot, gap.from), place_of(plot, gap.to));
  const Point* before = nullptr;
  for (const Point& point : panel.points) {
    if (point.number) {
      const Point& from = before != nullptr ? *before : point;
      canvas.line({place_of(plot, from.ms), scale.place(*from.number)},
                  {place_of(plot, point.ms), scale.place(*point.number)});
    }
    before = point.number ? &point : nullptr;
  }
}

class Printer {
 public:
  Printer(const Plot& plot, const Signs& signs, int columns, int rows, std::FILE* out)
      : plot_(plot), signs_(signs), columns_(std::max(columns - side - 2, 16)), rows_(std::max(rows, 3)), out_(out) {}

  void print(const Panel& panel) {
    const Summary summary = summary_of(panel);
    const Scale scale = scale_of(summary, std::clamp(rows_ / 2, 2, 5));
    Canvas canvas(signs_, columns_, rows_);
    draw(canvas, plot_, panel, scale);
    put(terminal_text(out_, on_one_line(panel.title)) + "   " + summary_line(summary));
    const std::vector<std::string> texts = side_texts(scale, rows_);
    for (int row = 0; row < rows_; ++row) {
      const std::string& text = texts[static_cast<std::size_t>(row)];
      put(right_aligned(text, side) + ' ' + (text.empty() ? signs_.side : signs_.tick) + canvas.row(row));
    }
    print_axis();
    print_gaps(panel);
  }

 private:
  static constexpr int side = 7;
  static constexpr std::size_t most_gaps = 8;

  void put(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    (void)std::fprintf(out_, "%s\n", line.c_str());
  }
  void print_axis() {
    std::vector<const char*> axis(static_cast<std::size_t>(columns_), signs_.line);
    std::string texts(static_cast<std::size_t>(columns_ + side + 12), ' ');
    std::size_t free = 0;
    for (const TimeTick& tick : time_ticks(plot_, columns_ / 12)) {
      const auto column = static_cast<std::size_t>(std::lround(place_of(plot_, tick.ms) * (columns_ - 1)));
      const std::size_t at = column + side + 2 - std::min<std::size_t>(tick.text.size() / 2, side + 2);
      axis[column] = signs_.mark;
      if (at < free || at + tick.text.size() > texts.size()) continue;
      texts.replace(at, tick.text.size(), tick.text);
      free = at + tick.text.size() + 1;
    }
    std::string line = repeated(" ", side + 1) + signs_.corner;
    for (const char* sign : axis) line += sign;
    put(line);
    put(texts);
  }
  void print_gaps(const Panel& panel) {
    const std::vector<Gap> gaps = gaps_of(plot_, panel);
    for (std::size_t i = 0; i < std::min(gaps.size(), most_gaps); ++i) {
      put("  " + std::string(signs_.shade) + ' ' + terminal_text(out_, on_one_line(gap_line(plot_, gaps[i]))));
    }
    if (gaps.size() > most_gaps) put("  and " + std::to_string(gaps.size() - most_gaps) + " more gaps");
  }

  const Plot& plot_;
  const Signs& signs_;
  int columns_, rows_;
  std::FILE* out_;
};

}  // namespace

void print_plot(const Plot& plot, int columns, int rows, bool braille, std::FILE* out) {
  print(out, on_one_line(plot.title) + "\n");
  Printer printer(plot, braille ? braille_signs : ascii_signs, columns, rows, out);
  for (const Panel& panel : plot.panels) {
    (void)std::fputc('\n', out);
    printer.print(panel);
  }
}

}  // namespace tool
