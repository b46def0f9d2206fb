// The numbers of a report as its tables and plots show them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "report/samples.h"

namespace report {

// What a table says of one curve.
struct Figures {
  std::size_t numbers = 0;
  double total = 0;  // each number times the seconds since the values before it
  double average = 0;
  double most = 0;
  double p95 = 0;  // 95 of 100 numbers are not over it
};

// One value for each step of time; NaN where there is none.
struct Steps {
  std::vector<double> least, average, most;
};

// Rounds of one instance that lack values, for one reason.
struct Shade {
  std::uint32_t from = 0;
  std::uint32_t to = 0;  // when there are values again; UINT32_MAX: not any more
  std::uint32_t status = 0;
};

class Curves final : public RowTaker {
 public:
  explicit Curves(std::size_t results) : results_(results) {}
  void take(const Row& row) override;

  [[nodiscard]] const std::vector<std::uint32_t>& times() const noexcept { return times_; }
  [[nodiscard]] bool has_numbers(std::size_t instance, std::size_t result) const;
  [[nodiscard]] Figures figures(std::size_t instance, std::size_t result) const;
  // So many rounds become one step.
  [[nodiscard]] Steps steps(std::size_t instance, std::size_t result, std::size_t rounds) const;
  [[nodiscard]] const std::vector<Shade>& shades(std::size_t instance) const { return instances_[instance].shades; }
  [[nodiscard]] std::uint64_t values() const noexcept { return values_; }

 private:
  struct Curve {
    std::vector<double> numbers;  // one for each time, up to its last one
    double total = 0;
  };
  struct OfInstance {
    std::vector<Curve> curves;
    std::vector<Shade> shades;
    std::uint32_t last = 0;  // when all values were there
  };
  void shade(OfInstance& instance, const Row& row) const;

  std::size_t results_;
  std::vector<std::uint32_t> times_;
  std::vector<OfInstance> instances_;
  std::uint64_t values_ = 0;
};

}  // namespace report
