// The numbers of a page's plots.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>

#include "report/layout.h"
#include "tools/gap_reasons.h"
#include "tools/rows.h"

namespace report {
namespace {

class Numbers : PageWriter {
 public:
  Numbers(const Page& page, const Layout& layout, std::FILE* out) : PageWriter(page, layout, out) {}

  void write() {
    std::string offset = tool::iso_time(page_.zone, times_.empty() ? page_.from : times_.front()).substr(19);
    const int minutes = std::atoi(offset.substr(1, 2).c_str()) * 60 + std::atoi(offset.substr(4, 2).c_str());
    put("{\"offset\":" + std::to_string((offset[0] == '-' ? -60 : 60) * minutes) + ",\"zone\":\"UTC" + offset +
        "\",\n\"times\":[");
    axis();
    put("],\n\"shades\":[");
    bool first = true;
    for (const CommonShade& one : layout_.common) shade(first, one.from, one.to, one.reason);
    put("],\n\"plots\":[");
    for (std::size_t i = 0; i < layout_.plots.size(); ++i) {
      put(i != 0 ? ",\n" : "\n");
      plot(layout_.plots[i]);
    }
    put("\n],\n\"reasons\":[");
    std::vector<std::string> texts(reasons_.size());
    for (const auto& [text, number] : reasons_) texts[number] = text;
    for (std::size_t i = 0; i < texts.size(); ++i) put((i != 0 ? "," : "") + quoted(texts[i]));
    put("]}\n");
  }

 private:
  // A text that may stand in a script.
  static std::string quoted(const std::string& text) {
    std::string made;
    for (const char c : tool::json_text(text)) made += c == '<' ? "\\u003c" : std::string(1, c);
    return made;
  }

  std::size_t reason(const std::string& text) { return reasons_.try_emplace(text, reasons_.size()).first->second; }

  // Where rounds never were, one more time breaks the curves.
  void axis() {
    auto shade = layout_.common.begin();
    for (std::size_t step = 0; step * layout_.rounds < times_.size(); ++step) {
      const std::uint32_t at = times_[step * layout_.rounds];
      for (; shade != layout_.common.end() && shade->from < at; ++shade) {
        if (step == 0 || shade->from <= last_axis_) continue;
        breaks_.push_back(step);
        put("," + std::to_string(shade->from));
        last_axis_ = shade->from;
      }
      put((step != 0 ? "," : "") + std::to_string(at));
      last_axis_ = at;
    }
  }

  void column(const std::vector<double>& numbers) {
    std::string text = "[";
    auto gap = breaks_.begin();
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      if (i != 0) text += ',';
      for (; gap != breaks_.end() && *gap == i; ++gap) text += "null,";
      text += plot_number(numbers[i]);
    }
    put(text + ']');
  }

  void shade(bool& first, std::uint32_t from, std::uint32_t to, const std::string& why) {
    const std::uint32_t end = to == UINT32_MAX && !times_.empty() ? times_.back() : to;
    put((first ? "[" : ",[") + std::to_string(from) + ',' + std::to_string(end) + ',' + std::to_string(reason(why)) +
        ']');
    first = false;
  }

  // Those of one reason that lie closer together than a step are one.
  void shades(const std::vector<Shade>& all) {
    const std::uint64_t step =
        times_.size() > 1 ? (times_.back() - times_.front()) * layout_.rounds / (times_.size() - 1) : 0;
    std::vector<Shade> merged;
    for (const Shade& one : all) {
      const bool same = !merged.empty() && merged.back().status == one.status;
      if (same && one.from - merged.back().to < step) {
        merged.back().to = one.to;
      } else {
        merged.push_back(one);
      }
    }
    bool first = true;
    for (const Shade& one : merged) shade(first, one.from, one.to, tool::gap_reason(one.status));
  }

  void plot(const Plot& plot) {
    put("{\"unit\":" + quoted(definition_.graphs[plot.graph].unit) + ",\"names\":[");
    for (const std::size_t& result : plot.results) {
      put((&result != plot.results.data() ? "," : "") + quoted(definition_.results[result].name));
    }
    put("],\"columns\":[");
    for (const std::size_t& result : plot.results) {
      const Steps steps = curves_.steps(plot.instance, result, layout_.rounds);
      put(&result != plot.results.data() ? ",{\"average\":" : "{\"average\":");
      column(steps.average);
      if (layout_.rounds > 1) {
        put(",\"least\":");
        column(steps.least);
        put(",\"most\":");
        column(steps.most);
      }
      put("}");
    }
    put("],\"shades\":[");
    shades(curves_.shades(plot.instance));
    put("]}");
  }

  std::vector<std::size_t> breaks_;  // steps before which there is one more time
  std::uint32_t last_axis_ = 0;
  std::map<std::string, std::size_t> reasons_;
};

}  // namespace

std::string plot_number(double number) {
  if (std::isnan(number)) return "null";
  char text[32];
  (void)std::snprintf(text, sizeof text, "%.3e", std::abs(number));  // d.ddde+dd
  std::string digits = {text[0], text[2], text[3], text[4]};
  int power = std::atoi(text + 6) - 3;
  if (digits == "0000") return "0";
  while (digits.back() == '0') {
    digits.pop_back();
    ++power;
  }
  std::string made = digits;
  const int size = static_cast<int>(digits.size());
  if (power > 0 && power <= 2) made.append(static_cast<std::size_t>(power), '0');
  if (power > 2 || power < -size - 1) made += 'e' + std::to_string(power);
  if (power < 0 && power >= -size - 1) {
    made.insert(0, static_cast<std::size_t>(std::max(0, 1 - size - power)), '0');
    made.insert(made.size() - static_cast<std::size_t>(-power), ".");
  }
  return (number < 0 ? "-" : "") + made;
}

void write_plot_data(const Page& page, const Layout& layout, std::FILE* out) { Numbers(page, layout, out).write(); }

}  // namespace report
