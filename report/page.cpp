#include "report/page.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <map>

#include "report/csv.h"
#include "report/layout.h"
#include "report/page_parts.h"
#include "tools/gap_reasons.h"
#include "tools/plot.h"
#include "tools/rows.h"
#include "tools/steps.h"

namespace report {
namespace {

using tool::xml_text;

std::string bare(const std::string& component) { return component.substr(component.find(':') + 1); }

// What people call an instance; of a component's only one it is the component.
std::string shown(const Instance& instance) {
  if (!instance.label.empty()) return instance.label;
  return instance.index == "0" ? bare(instance.component) : instance.index;
}

// Where it is, beside that.
std::string place(const Instance& instance) {
  if (shown(instance) == bare(instance.component)) return "";
  return bare(instance.component) + (instance.label.empty() ? "" : " ." + instance.index);
}

// Between numbers, where none was expected.
constexpr char nothing_due[] = "no values";

class Writer : PageWriter {
 public:
  Writer(const Page& page, const Layout& layout, std::FILE* out) : PageWriter(page, layout, out) {}

  void write() {
    head();
    about();
    for (std::size_t graph = 0; graph < definition_.graphs.size(); ++graph) section(graph);
    gaps();
    foot();
  }

 private:
  [[nodiscard]] const Instance& instance(std::size_t number) const { return (*page_.instances)[number]; }

  // ---- What the page is made of ----

  [[nodiscard]] std::string time(std::uint32_t seconds) const { return tool::shown_time(page_.zone, seconds); }
  [[nodiscard]] std::string zone_text() const {
    return "UTC" + tool::iso_time(page_.zone, times_.empty() ? page_.from : times_.front()).substr(19);
  }

  void head() {
    put("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'; "
        "script-src 'unsafe-inline'\">\n"
        "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" +
        xml_text(page_.title) + "</title>\n<style>\n");
    put(dygraphs_style);
    put(page_style);
    put("</style>\n</head>\n<body>\n<main>\n");
  }

  void fact(const std::string& name, const std::string& text) {
    put("<div><dt>" + name + "</dt><dd>" + xml_text(text) + "</dd></div>\n");
  }

  void about() {
    std::uint64_t missing = 0;
    for (const tool::GapRow& gap : page_.gaps) missing += gap.values;
    put("<header>\n<h1>" + xml_text(page_.title) + "</h1>\n<p class=\"what\">" +
        xml_text(definition_.description == page_.title ? "" : definition_.description) + "</p>\n<dl>\n");
    const bool none = times_.empty();
    fact("From", time(none ? page_.from : times_.front()));
    fact("To", none ? "nothing collected yet" : time(times_.back()));
    fact("Time zone", zone_text());
    fact("Rounds", std::to_string(times_.size()) + " every " + page_.interval);
    fact("Values", std::to_string(curves_.values()));
    fact("Missing", std::to_string(missing));
    fact("Log entry", page_.log_entry);
    put("</dl>\n</header>\n");
  }

  void section(std::size_t graph) {
    const Graph& about = definition_.graphs[graph];
    const auto is_of_it = [graph](const Plot& plot) { return plot.graph == graph; };
    put("<section>\n<h2>" + xml_text(about.title) +
        (about.unit == "-" || about.unit == "1" ? std::string() : " <small>" + xml_text(about.unit) + "</small>") +
        "</h2>\n");
    if (std::none_of(layout_.plots.begin(), layout_.plots.end(), is_of_it)) {
      put("<p class=\"nothing\">There are no numbers yet: a change needs two rounds, and what is missing is told "
          "below.</p>\n</section>\n");
      return;
    }
    table(graph);
    put("<div class=\"plots\">\n");
    for (std::size_t i = 0; i < layout_.plots.size(); ++i) {
      if (is_of_it(layout_.plots[i])) figure(i);
    }
    put("</div>\n</section>\n");
  }

  static bool has_total(const Graph& graph) { return graph.unit.size() > 2 && graph.unit.ends_with("/s"); }

  void heading(const char* text, bool number = false) {
    put(std::string("<th scope=\"col\"") + (number ? " class=\"n\"" : "") + "><button type=\"button\">" + text +
        "</button></th>");
  }
  void cell(double number, const std::string& unit) {
    put("<td class=\"n\" data-v=\"" + plot_number(number) + "\">" + xml_text(shown_quantity(number, unit)) + "</td>");
  }

  void table(std::size_t graph) {
    const Graph& about = definition_.graphs[graph];
    put("<div class=\"scroll\"><table class=\"sortable\">\n<thead><tr>");
    heading("Component");
    heading("Instance");
    heading("Value");
    if (has_total(about)) heading("Total", true);
    for (const char* const name : {"Average", "95th percentile", "Maximum", "Samples"}) heading(name, true);
    put("</tr></thead>\n<tbody>\n");
    for (std::size_t i = 0; i < layout_.plots.size(); ++i) {
      if (layout_.plots[i].graph != graph) continue;
      for (const std::size_t result : layout_.plots[i].results) row(i, result);
    }
    put("</tbody>\n</table></div>\n");
  }

  void row(std::size_t number, std::size_t result) {
    const Plot& plot = layout_.plots[number];
    const Graph& about = definition_.graphs[plot.graph];
    const Instance& whose = instance(plot.instance);
    const Figures figures = curves_.figures(plot.instance, result);
    put("<tr><td>" + xml_text(bare(whose.component)) + "</td><td><a href=\"#p" + std::to_string(number) + "\">" +
        xml_text(shown(whose)) + "</a></td><td>" + xml_text(definition_.results[result].name) + "</td>");
    if (has_total(about)) cell(figures.total, about.unit.substr(0, about.unit.size() - 2));
    cell(figures.average, about.unit);
    cell(figures.p95, about.unit);
    cell(figures.most, about.unit);
    put("<td class=\"n\">" + std::to_string(figures.numbers) + "</td></tr>\n");
  }

  // The drawing is there for all; where scripts run, it makes place for the plot.
  void figure(std::size_t number) {
    const Plot& plot = layout_.plots[number];
    const Instance& whose = instance(plot.instance);
    const std::string id = std::to_string(number);
    put("<figure id=\"p" + id + "\">\n<figcaption><b>" + xml_text(shown(whose)) + "</b> <span>" +
        xml_text(place(whose)) + "</span></figcaption>\n<div class=\"key\"></div>\n<div class=\"plot\" data-plot=\"" +
        id + "\"></div>\n<noscript>\n");
    drawing(plot);
    put("</noscript>\n</figure>\n");
  }

  void drawing(const Plot& plot) {
    tool::Plot drawn{"", page_.zone, 0, 0, {}};
    if (!times_.empty()) drawn.from = std::uint64_t{times_.front()} * 1000;
    if (!times_.empty()) drawn.to = std::uint64_t{times_.back()} * 1000;
    for (const std::size_t result : plot.results) {
      drawn.panels.push_back({definition_.results[result].name + ", " + definition_.graphs[plot.graph].unit,
                              points(plot.instance, result)});
    }
    tool::write_svg(drawn, out_);
  }

  [[nodiscard]] std::vector<tool::Point> points(std::size_t number, std::size_t result) const {
    const Steps steps = curves_.steps(number, result, layout_.drawn_rounds);
    std::vector<tool::Point> made;
    for (std::size_t i = 0; i < steps.average.size(); ++i) {
      tool::Point point{std::uint64_t{times_[i * layout_.drawn_rounds]} * 1000, {}, ""};
      if (std::isnan(steps.average[i])) {
        point.gap = reason_at(number, times_[i * layout_.drawn_rounds]);
      } else {
        point.number = steps.average[i];
      }
      if (!point.number && point.gap.empty()) {
        if (made.empty()) continue;  // it has come later
        point.gap = nothing_due;
      }
      made.push_back(std::move(point));
    }
    while (!made.empty() && made.back().gap == nothing_due) made.pop_back();
    return made;
  }
  [[nodiscard]] std::string reason_at(std::size_t number, std::uint32_t at) const {
    const std::vector<Shade>& shades = curves_.shades(number);
    const auto next = std::upper_bound(shades.begin(), shades.end(), at,
                                       [](std::uint32_t time, const Shade& one) { return time < one.from; });
    if (next == shades.begin() || std::prev(next)->to <= at) return "";
    return tool::gap_reason(std::prev(next)->status);
  }

  void gaps() {
    if (page_.gaps.empty()) return;
    put("<section>\n<h2>What is missing</h2>\n<div class=\"scroll\"><table class=\"sortable\">\n<thead><tr>");
    for (const char* const name : {"Component", "Attribute", "Index", "Reason", "From", "To"}) heading(name);
    heading("Rounds", true);
    heading("Values", true);
    put("</tr></thead>\n<tbody>\n");
    for (const tool::GapRow& gap : tool::summed(page_.gaps)) {
      const auto text = [](const std::string& one) { return one == "*" ? std::string("all") : xml_text(one); };
      put("<tr><td>" + text(bare(gap.component)) + "</td><td>" + text(gap.attribute) + "</td><td>" + text(gap.index) +
          "</td><td>" + xml_text(gap.reason) + "</td><td>" + time(gap.from) + "</td><td>" + time(gap.to) +
          "</td><td class=\"n\">" + std::to_string(gap.rounds) + "</td><td class=\"n\">" + std::to_string(gap.values) +
          "</td></tr>\n");
    }
    put("</tbody>\n</table></div>\n</section>\n");
  }

  void foot() {
    put("</main>\n<footer>\n<p>Made by oxreport of report type " + xml_text(definition_.name) +
        (definition_.version.empty() ? "" : " " + xml_text(definition_.version)) +
        ". This file has all that it shows, and asks for nothing from anywhere.</p>\n"
        "<details><summary>Plots by dygraphs, under the MIT licence</summary><pre>");
    put(xml_text(std::string(dygraphs_licence)));
    put("</pre></details>\n</footer>\n<script type=\"application/json\" id=\"data\">");
    write_plot_data(page_, layout_, out_);
    put("</script>\n<script>");
    put(dygraphs_script);
    put("</script>\n<script>\n");
    put(page_script);
    put("</script>\n</body>\n</html>\n");
  }
};

}  // namespace

std::string shown_quantity(double number, const std::string& unit) {
  if (unit == "%") {
    char text[32];
    (void)std::snprintf(text, sizeof text, "%.2f %%", number);
    return text;
  }
  const std::string text = tool::short_number(number);
  if (unit == "-" || unit == "1") return text;
  const bool has_prefix = text.back() >= 'A';
  return text + (has_prefix ? "" : " ") + unit;
}

void write_page(const Page& page, std::FILE* out) {
  const Layout layout(page);
  Writer(page, layout, out).write();
}

}  // namespace report
