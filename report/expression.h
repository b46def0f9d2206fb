// What is calculated of collected values: "rate(m1) * 8 / speed".
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace report {

// What is wrong with a text of a definition.
class Fault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// What the names in an expression may stand for.
struct Names {
  std::size_t attributes = 0;  // m1, m2 ...
  std::vector<std::string> results;
  std::vector<std::string> parameters;
};

// What expressions are calculated of, for one instance at one time. What is not there is NaN.
struct Sample {
  std::vector<double> values;    // of the attributes
  std::vector<double> rates;     // their change a second
  std::vector<double> answered;  // 1 a value, 0 none in time, NaN when nobody asked
  std::vector<double> results;   // of the expressions before
  std::vector<double> parameters;
};

class Expression {
 public:
  // Throws Fault.
  Expression(std::string_view text, const Names& names);

  // NaN where something is missing, and for what has no value, as 1 / 0.
  [[nodiscard]] double operator()(const Sample& sample) const;
  // The attributes that it needs, by their places, each once.
  [[nodiscard]] const std::vector<std::size_t>& attributes() const noexcept { return attributes_; }
  [[nodiscard]] bool uses_rates() const noexcept;

 private:
  friend class Parser;
  enum class Kind : std::uint8_t {
    number,
    value,
    rate,
    answered,
    result,
    parameter,
    negate,
    add,
    subtract,
    multiply,
    divide
  };
  // One step of a calculation on a stack.
  struct Step {
    Kind kind = Kind::number;
    std::size_t at = 0;
    double number = 0;
  };
  static constexpr std::size_t deepest = 64;

  [[nodiscard]] static double operand(const Step& step, const Sample& sample);

  std::vector<Step> steps_;
  std::vector<std::size_t> attributes_;
};

// The place of "m3": 2; npos for what is no such name.
inline constexpr std::size_t npos = static_cast<std::size_t>(-1);
[[nodiscard]] std::size_t attribute_place(std::string_view name);
// A letter or "_", then digits as well.
[[nodiscard]] bool is_name(std::string_view text);

}  // namespace report
