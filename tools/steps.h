// Numbers for people, and one value for each step of time.
#pragma once

#include "tools/collected.h"

namespace tool {

// Gathers rounds into steps, and passes on one round for each step that has any: of numbers minimum, maximum or
// average, of other values the last one, of nothing but gaps the last gap.
class Steps {
 public:
  Steps(std::uint32_t seconds, Function function, TakeRound take)
      : ms_(std::uint64_t{seconds} * 1000), function_(function), take_(std::move(take)) {}
  void add(Round& round);
  void end();

 private:
  struct Gathered {
    Value last;
    std::size_t count = 0;  // of numbers
    double sum = 0;
    double least = 0;
    double most = 0;
  };
  void gather(Value& value);
  [[nodiscard]] Value made(Gathered& gathered) const;

  std::uint64_t ms_;
  Function function_;
  TakeRound take_;
  std::uint64_t step_ = 0;  // number of the one being gathered
  std::map<std::size_t, Gathered> gathered_;
};

// A number with as many digits as tell something: "1234567", "12.35", "0.00123".
[[nodiscard]] std::string shown_number(double number);
// With a prefix: "1.23 M".
[[nodiscard]] std::string short_number(double number);

}  // namespace tool
