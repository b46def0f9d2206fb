#include "tools/steps.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace tool {

void Steps::add(Round& round) {
  const std::uint64_t step = round.ms / ms_;
  if (step != step_) end();
  step_ = step;
  for (Value& value : round.values) gather(value);
}

void Steps::gather(Value& value) {
  Gathered& gathered = gathered_[value.series];
  const bool says_more = value.gap.empty() || gathered.count == 0;
  if (value.number) {
    const double number = *value.number;
    gathered.least = gathered.count == 0 ? number : std::min(gathered.least, number);
    gathered.most = gathered.count == 0 ? number : std::max(gathered.most, number);
    gathered.sum += number;
    ++gathered.count;
  }
  if (says_more) gathered.last = std::move(value);
}

Value Steps::made(Gathered& gathered) const {
  if (gathered.count != 0) {
    const double average = gathered.sum / static_cast<double>(gathered.count);
    const double number = function_ == Function::minimum   ? gathered.least
                          : function_ == Function::maximum ? gathered.most
                                                           : average;
    gathered.last.number = number;
    gathered.last.exact = number;
    gathered.last.text = shown_number(number);
  }
  return std::move(gathered.last);
}

void Steps::end() {
  if (gathered_.empty()) return;
  Round round{step_ * ms_, {}};
  for (auto& [series, gathered] : gathered_) round.values.push_back(made(gathered));
  gathered_.clear();
  take_(round);
}

std::string shown_number(double number) {
  char text[64];
  const bool whole = std::abs(number) < 1e15 && number == std::floor(number);
  (void)std::snprintf(text, sizeof text, whole ? "%.0f" : std::abs(number) >= 1000 ? "%.1f" : "%.4g", number);
  return text;
}

std::string short_number(double number) {
  constexpr std::array<const char*, 7> prefixes = {"", " k", " M", " G", " T", " P", " E"};
  std::size_t step = 0;
  while (std::abs(number) >= 999.5 && step + 1 < prefixes.size()) {
    number /= 1000;
    ++step;
  }
  char text[64];
  (void)std::snprintf(text, sizeof text, "%.3g", number);
  return text + std::string(prefixes[step]);
}

}  // namespace tool
