#include "report/curves.h"

#include <algorithm>
#include <cmath>

namespace report {
void Curves::shade(OfInstance& instance, const Row& row) const {
  std::vector<Shade>& shades = instance.shades;
  const bool is_open = !shades.empty() && shades.back().to == UINT32_MAX;
  if (is_open && shades.back().status == row.gap) return;
  if (is_open) shades.back().to = row.time;
  if (row.gap != 0) shades.push_back({row.time, UINT32_MAX, row.gap});
}

void Curves::take(const Row& row) {
  if (times_.empty() || times_.back() != row.time) times_.push_back(row.time);
  if (instances_.size() <= row.instance) instances_.resize(row.instance + 1);
  OfInstance& instance = instances_[row.instance];
  instance.curves.resize(results_);
  shade(instance, row);
  const double seconds = instance.last != 0 ? row.time - instance.last : 0;
  for (std::size_t i = 0; i < results_; ++i) {
    const double number = row.sample->results[i];
    if (std::isnan(number)) continue;
    Curve& curve = instance.curves[i];
    curve.numbers.resize(times_.size() - 1, nothing);
    curve.numbers.push_back(number);
    curve.total += number * seconds;
  }
  for (const auto* cell : row.cells) values_ += cell != nullptr && cell->type != 0 ? 1 : 0;
  if (row.gap == 0) instance.last = row.time;
}

bool Curves::has_numbers(std::size_t instance, std::size_t result) const {
  return instance < instances_.size() && !instances_[instance].curves.empty() &&
         !instances_[instance].curves[result].numbers.empty();
}

Figures Curves::figures(std::size_t instance, std::size_t result) const {
  Figures made;
  if (!has_numbers(instance, result)) return made;
  const Curve& curve = instances_[instance].curves[result];
  std::vector<double> numbers;
  std::copy_if(curve.numbers.begin(), curve.numbers.end(), std::back_inserter(numbers),
               [](double number) { return !std::isnan(number); });
  made.numbers = numbers.size();
  made.total = curve.total;
  double sum = 0;
  for (const double number : numbers) sum += number;
  made.average = sum / static_cast<double>(numbers.size());
  made.most = *std::max_element(numbers.begin(), numbers.end());
  const auto rank = numbers.begin() + static_cast<std::ptrdiff_t>((numbers.size() * 95 + 99) / 100 - 1);
  std::nth_element(numbers.begin(), rank, numbers.end());
  made.p95 = *rank;
  return made;
}

Steps Curves::steps(std::size_t instance, std::size_t result, std::size_t rounds) const {
  Steps made;
  const std::vector<double>& numbers = instances_[instance].curves[result].numbers;
  for (std::size_t begin = 0; begin < times_.size(); begin += rounds) {
    double least = nothing, most = nothing, sum = 0;
    std::size_t count = 0;
    for (std::size_t i = begin; i < std::min(begin + rounds, numbers.size()); ++i) {
      if (std::isnan(numbers[i])) continue;
      least = std::fmin(least, numbers[i]);
      most = std::fmax(most, numbers[i]);
      sum += numbers[i];
      ++count;
    }
    made.least.push_back(least);
    made.average.push_back(count != 0 ? sum / static_cast<double>(count) : nothing);
    made.most.push_back(most);
  }
  return made;
}

}  // namespace report
