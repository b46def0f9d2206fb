#include "tools/plot.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "tools/steps.h"

namespace tool {
namespace {

// The 1, 2 or 5 times a power of ten that divides a range into about so many.
double round_step(double range, int count) {
  const double rough = range / std::max(count, 1);
  const double power = std::pow(10, std::floor(std::log10(rough)));
  for (const double factor : {1.0, 2.0, 5.0}) {
    if (factor * power >= rough) return factor * power;
  }
  return 10 * power;
}

constexpr std::uint32_t time_steps[] = {1,      2,      5,       10,      15,      30,       60,       120,   300,
                                        600,    900,    1800,    3600,    7200,    10800,    21600,    43200, 86400,
                                        172800, 604800, 1209600, 2629800, 7889400, 31557600, 157788000};

std::string tick_text(const oxcZone* zone, std::uint32_t seconds, std::uint32_t step) {
  const std::string text = shown_time(zone, seconds);  // "2026-11-22 13:05:00"
  if (text.size() < 19) return text;
  if (step >= 2629800) return text.substr(0, 7);
  if (step >= 86400) return text.substr(5, 5);
  return text.substr(11, step < 60 ? 8 : 5);
}

}  // namespace

std::vector<Gap> gaps_of(const Plot& plot, const Panel& panel) {
  std::vector<Gap> gaps;
  for (std::size_t i = 0; i < panel.points.size(); ++i) {
    const Point& point = panel.points[i];
    if (point.number) continue;
    const std::uint64_t end = i + 1 < panel.points.size() ? panel.points[i + 1].ms : std::max(plot.to, point.ms);
    if (!gaps.empty() && gaps.back().to == point.ms && gaps.back().reason == point.gap) {
      gaps.back().to = end;
      ++gaps.back().points;
    } else {
      gaps.push_back({point.ms, end, 1, point.gap});
    }
  }
  return gaps;
}

std::string gap_line(const Plot& plot, const Gap& gap) {
  const std::string from = shown_time(plot.zone, static_cast<std::uint32_t>(gap.from / 1000));
  std::string to = shown_time(plot.zone, static_cast<std::uint32_t>(gap.to / 1000));
  if (from.substr(0, 10) == to.substr(0, 10)) to = to.substr(11);
  return from + " to " + to + "  " + gap.reason + (gap.points > 1 ? ", " + std::to_string(gap.points) + " values" : "");
}

Summary summary_of(const Panel& panel) {
  Summary summary;
  double sum = 0;
  for (const Point& point : panel.points) {
    if (!point.number) continue;
    summary.least = summary.numbers == 0 ? *point.number : std::min(summary.least, *point.number);
    summary.most = summary.numbers == 0 ? *point.number : std::max(summary.most, *point.number);
    summary.last = *point.number;
    sum += *point.number;
    ++summary.numbers;
  }
  if (summary.numbers != 0) summary.average = sum / static_cast<double>(summary.numbers);
  return summary;
}

std::string summary_line(const Summary& summary) {
  if (summary.numbers == 0) return "no values";
  return "min " + short_number(summary.least) + "  avg " + short_number(summary.average) + "  max " +
         short_number(summary.most) + "  last " + short_number(summary.last);
}

Scale scale_of(const Summary& summary, int ticks) {
  double low = summary.least;
  double high = summary.most;
  if (low > 0 && low < high / 2) low = 0;
  if (low >= high) {  // a straight line, in the middle
    const double room = low != 0 ? std::abs(low) / 2 : 1;
    low -= room;
    high += room;
  }
  const double step = round_step(high - low, ticks);
  Scale scale{std::floor(low / step) * step, std::ceil(high / step) * step, {}};
  const auto count = static_cast<int>(std::lround((scale.high - scale.low) / step));
  for (int i = 0; i <= count; ++i) scale.ticks.push_back(scale.low + i * step);
  return scale;
}

std::vector<TimeTick> time_ticks(const Plot& plot, int ticks) {
  const double rough = static_cast<double>(plot.to - plot.from) / 1000 / std::max(ticks, 1);
  const auto* const found = std::find_if(std::begin(time_steps), std::end(time_steps) - 1,
                                         [rough](std::uint32_t step) { return step >= rough; });
  const std::uint32_t step = *found;
  std::vector<TimeTick> made;
  oxcDate date{};
  (void)oxcZoneToDate(plot.zone, static_cast<std::uint32_t>(plot.from / 1000), &date);
  const std::int64_t begin = static_cast<std::int64_t>(plot.from / 1000) + date.offset;
  for (std::int64_t local = (begin + step - 1) / step * step;; local += step) {
    const std::int64_t seconds = local - date.offset;
    if (seconds < 0 || seconds > UINT32_MAX || static_cast<std::uint64_t>(seconds) * 1000 > plot.to) break;
    const auto at = static_cast<std::uint32_t>(seconds);
    if (std::uint64_t{at} * 1000 >= plot.from)
      made.push_back({std::uint64_t{at} * 1000, tick_text(plot.zone, at, step)});
  }
  return made;
}

double place_of(const Plot& plot, std::uint64_t ms) {
  if (plot.to <= plot.from) return 0;
  const double passed = static_cast<double>(ms) - static_cast<double>(plot.from);
  return std::clamp(passed / static_cast<double>(plot.to - plot.from), 0.0, 1.0);
}

}  // namespace tool
