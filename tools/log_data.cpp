#include "tools/log_data.h"

#include <algorithm>

#include "platform/terminal.h"
#include "tools/cli.h"
#include "tools/gap_ledger.h"
#include "tools/output_file.h"
#include "tools/plot.h"
#include "tools/progress.h"
#include "tools/steps.h"
#include "tools/text.h"

namespace tool {
namespace {

constexpr std::uint32_t number(Function function) { return static_cast<std::uint32_t>(function); }
const Choices functions = {
    {"min", number(Function::minimum)}, {"max", number(Function::maximum)}, {"avg", number(Function::average)}};

std::string name_of(const Call& call) { return bare_name(log_family, call.name); }

// Attributes have names where the tree can be had; numbers do elsewhere.
void attach_names() { (void)oxbInit(OXB_TREE); }

void read(const Call& call, const DataOptions& options, const Window& window, SeriesTable& series,
          const TakeRound& take) {
  Progress progress("reading collected values");
  std::uint32_t begin = 0;
  const std::uint32_t end = std::min(window.to, now());
  const bool gathered = window.rate && window.step != 0 && window.function != Function::average;
  Steps steps(std::max(window.step, 1u), window.function, take);
  const TakeRound taken = [&](Round& round) {
    if (begin == 0) begin = round.seconds();
    progress.at(round.seconds() - begin, end > begin ? end - begin : 0);
    gathered ? steps.add(round) : take(round);
  };
  read_rounds(call.manager, name_of(call), window, options.choice(), series, taken);
  if (gathered) steps.end();
}

// A table of values, row by row.
class ValueRows {
 public:
  ValueRows(Form form, const oxcZone* zone, const SeriesTable& series, std::FILE* out)
      : form_(form),
        zone_(zone),
        series_(series),
        rows_(form,
              {{"TIME", "time"},
               {"COMPONENT", "component"},
               {"ATTRIBUTE", "attribute"},
               {"INDEX", "index"},
               {"VALUE", "value", true},
               {form == Form::table ? "GAP" : "", form == Form::table ? "" : "text"},
               {"", "gap"}},
              out) {}

  void add(const Round& round) {
    const std::uint32_t time = round.seconds();
    const Cell when(form_ == Form::table ? shown_time(zone_, time) : "",
                    form_ == Form::table ? "" : iso_time(zone_, time));
    for (const Value& value : round.values) add(when, value);
  }
  void end() { rows_.end(); }
  [[nodiscard]] std::size_t count() const { return rows_.count(); }

 private:
  void add(const Cell& when, const Value& value) {
    const Series& series = series_[value.series];
    const Cell shown(value.gap.empty() ? value.text : "-", value.gap.empty() ? value.exact : nlohmann::json());
    std::vector<Cell> cells = {when, series.component, attribute(value.series), series.index, shown};
    if (form_ != Form::table) cells.push_back(value.gap.empty() ? Cell(value.text) : Cell());
    cells.push_back(value.gap.empty() ? Cell() : Cell(value.gap));
    rows_.add(std::move(cells));
  }
  // Looked up once for each series.
  const std::string& attribute(std::size_t series) {
    std::string& name = names_[series];
    if (name.empty()) name = series_[series].attribute();
    return name;
  }

  Form form_;
  const oxcZone* zone_;
  const SeriesTable& series_;
  Rows rows_;
  std::map<std::size_t, std::string> names_;
};

std::size_t print_values(const Call& call, const DataOptions& options, const std::string& usual_last, std::FILE* out) {
  attach_names();
  const ZonePtr zone = open_zone();
  const Window window = options.window(call, zone.get(), usual_last);
  SeriesTable series;
  ValueRows rows(call.form, zone.get(), series, out);
  read(call, options, window, series, [&rows](Round& round) { rows.add(round); });
  rows.end();
  return rows.count();
}

void tell_nothing(const Call& call) {
  say(stderr, "oxlog: logEnt:%s has nothing collected there; oxlog show %s tells what it has\n", name_of(call).c_str(),
      name_of(call).c_str());
}

Plot plot_of(const Call& call, const DataOptions& options, const oxcZone* zone, SeriesTable& series) {
  const Entry about = entry(call.manager, log_family, call.name);
  Plot plot{about.text("11.14.1.0") + " (logEnt:" + name_of(call) + ')', zone, 0, 0, {}};
  read(call, options, options.window(call, zone, "1D"), series, [&](Round& round) {
    if (plot.from == 0) plot.from = round.ms;
    plot.to = std::max(plot.to, round.ms);
    for (Value& value : round.values) {
      if (!value.number && value.gap.empty()) continue;  // a text
      if (plot.panels.size() <= value.series) plot.panels.resize(value.series + 1);
      plot.panels[value.series].points.push_back({round.ms, value.number, std::move(value.gap)});
    }
  });
  for (std::size_t i = 0; i < plot.panels.size(); ++i) plot.panels[i].title = series[i].label();
  std::erase_if(plot.panels, [](const Panel& panel) { return panel.points.empty(); });
  return plot;
}

void print_in_terminal(const Plot& plot, const PlotOptions& options) {
  constexpr int usual_columns = 80;
  const int terminal = ox::platform::terminal_columns(ox::platform::Stream::output);
  const int columns = options.columns != 0 ? options.columns : terminal != 0 ? terminal : usual_columns;
  const int rows = options.rows != 0 ? options.rows : plot.panels.size() > 1 ? 8 : 16;
  print_plot(plot, columns, rows, !options.ascii && ox::platform::output_takes_utf8(), stdout);
}

}  // namespace

// ---- Options ----

void DataOptions::add_to(Command& command) {
  command.add_option("--from", from_, "not before: 2026-11-22 13:05, 13:05, -2h, or seconds since 1970");
  command.add_option("--to", to_, "not after, likewise");
  command.add_option("--last", last_, "only the last so many rounds, or such a period as 6h or 2D");
  const Option stepped = command.add_option("--step", step_, "one value for each such period, as 10m");
  command.add_option("--function", function_, "of a step's values: min, max or avg (default: avg)")
      .choice_of(functions)
      .needs(stepped);
  command.add_flag("--rate", rate_, "of counters the change per second, over wraps and not over restarts of agents");
  command.add_option("--component", choice_.component, "only components of that pattern, as 'router*'");
  command.add_option("--attribute", choice_.attribute, "only attributes of that pattern, as 'if*Octets'");
  command.add_option("--index", choice_.index, "only instances of that pattern");
}

std::uint32_t DataOptions::step() const {
  if (step_.empty()) return 0;
  const auto period = period_of(step_);
  if (!period) throw Usage("\"" + step_ + "\" is no period: write a number and one of s m h D W M Y, as 10m");
  return seconds_of(*period);
}

Window DataOptions::window(const Call& call, const oxcZone* zone, const std::string& usual_last) const {
  Window window;
  if (!from_.empty()) window.from = moment(zone, from_);
  if (!to_.empty()) window.to = moment(zone, to_);
  if (window.from > window.to) throw Usage("--from lies behind --to");
  window.step = step();
  window.function = static_cast<Function>(function_);
  window.rate = rate_;
  const std::string last = !last_.empty() ? last_ : from_.empty() ? usual_last : "";
  if (last.empty()) return window;
  const auto period = period_of(last);
  if (!period) throw Usage("\"" + last + "\" is neither a number of rounds nor a period, as 6h");
  if (last.find_first_not_of("0123456789") == last.npos) {
    window.rounds = period->count;
    return window;
  }
  const std::uint32_t collected = entry(call.manager, log_family, call.name).number("11.14.12.0");
  const std::uint32_t end = std::min(window.to, collected != 0 ? collected : now());
  window.from = std::max(window.from, shifted(zone, end, *period, -1));
  return window;
}

void PlotOptions::add_to(Command& command) {
  command.add_option("--svg", svg, "draw into that file; - for the standard output");
  command.add_option("--columns", columns, "width in characters (default: the terminal's)").between(24, 1000);
  command.add_option("--rows", rows, "height of each curve in lines").between(3, 200);
  command.add_flag("--ascii", ascii, "plain characters, also where the terminal has others");
}

// ---- Commands ----

int show_data(const Call& call, const DataOptions& options) {
  if (print_values(call, options, "10", stdout) == 0 && call.form == Form::table) tell_nothing(call);
  return exit_ok;
}

int export_data(const Call& call, const DataOptions& options, const std::string& file) {
  OutputFile output(system_path(file));
  Call in_file = call;
  if (call.form == Form::table) in_file.form = Form::csv;
  const std::size_t count = print_values(in_file, options, "", output.get());
  output.finish();
  say(stderr, "oxlog: %s values\n", std::to_string(count).c_str());
  return exit_ok;
}

int plot_data(const Call& call, const DataOptions& options, const PlotOptions& wanted) {
  attach_names();
  const ZonePtr zone = open_zone();
  SeriesTable series;
  const Plot plot = plot_of(call, options, zone.get(), series);
  if (plot.panels.empty()) {
    tell_nothing(call);
    return exit_failed;
  }
  if (wanted.svg.empty()) {
    print_in_terminal(plot, wanted);
    return exit_ok;
  }
  OutputFile output(system_path(wanted.svg));
  write_svg(plot, output.get());
  output.finish();
  return exit_ok;
}

int show_gaps(const Call& call, const DataOptions& options, bool each) {
  attach_names();
  const ZonePtr zone = open_zone();
  (void)entry(call.manager, log_family, call.name);
  std::vector<GapRow> gaps =
      gap_rows(call.manager, name_of(call), options.window(call, zone.get(), ""), options.choice());
  if (!each) gaps = summed(gaps);
  Rows rows(call.form, {{"COMPONENT", "component"},
                        {"ATTRIBUTE", "attribute"},
                        {"INDEX", "index"},
                        {"REASON", "reason"},
                        {"FROM", "from"},
                        {"TO", "to"},
                        {"ROUNDS", "rounds", true},
                        {"VALUES", "values", true}});
  for (const GapRow& gap : gaps) {
    rows.add({gap.component,
              gap.attribute,
              gap.index,
              gap.reason,
              {shown_time(zone.get(), gap.from), iso_time(zone.get(), gap.from)},
              {shown_time(zone.get(), gap.to), iso_time(zone.get(), gap.to)},
              gap.rounds,
              gap.values});
  }
  rows.end();
  return exit_ok;
}

}  // namespace tool
