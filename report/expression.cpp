#include "report/expression.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <utility>

namespace report {
namespace {

bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

std::size_t place_in(const std::vector<std::string>& names, std::string_view name) {
  const auto found = std::find(names.begin(), names.end(), name);
  return found == names.end() ? npos : static_cast<std::size_t>(found - names.begin());
}

}  // namespace

bool is_name(std::string_view text) {
  return !text.empty() && is_letter(text[0]) &&
         std::all_of(text.begin(), text.end(), [](char c) { return is_letter(c) || is_digit(c); });
}

std::size_t attribute_place(std::string_view name) {
  std::size_t number = 0;
  if (name.size() < 2 || name.size() > 5 || name[0] != 'm' || name[1] == '0') return npos;
  const auto [end, error] = std::from_chars(name.data() + 1, name.data() + name.size(), number);
  return error == std::errc() && end == name.data() + name.size() ? number - 1 : npos;
}

// sum = product { (+|-) product }; product = sign { (*|/) sign }; sign = { - } ( number | name | call | "(" sum ")" ).
class Parser {
 public:
  Parser(std::string_view text, const Names& names, Expression& out) : text_(text), names_(names), out_(out) {}

  void parse() {
    sum();
    if (at_ != text_.size()) fail("something is missing before");
  }

 private:
  using Kind = Expression::Kind;

  [[noreturn]] void fail(const std::string& what) const {
    const std::string rest(text_.substr(std::min(at_, text_.size())));
    throw Fault(what + (rest.empty() ? " the end" : " \"" + rest + '"'));
  }
  void skip_blanks() {
    while (at_ < text_.size() && text_[at_] == ' ') ++at_;
  }
  bool take(char wanted) {
    skip_blanks();
    if (at_ == text_.size() || text_[at_] != wanted) return false;
    ++at_;
    skip_blanks();
    return true;
  }
  std::string_view word() {
    const std::size_t begin = at_;
    while (at_ < text_.size() && (is_letter(text_[at_]) || is_digit(text_[at_]))) ++at_;
    const std::string_view taken = text_.substr(begin, at_ - begin);
    skip_blanks();
    return taken;
  }

  void push(Expression::Step step) {
    if (++depth_ > Expression::deepest) fail("too much is open before");
    out_.steps_.push_back(step);
  }
  void combine(Kind kind) {
    --depth_;
    out_.steps_.push_back({kind});
  }

  void sum() {
    product();
    for (;;) {
      const Kind kind = take('+') ? Kind::add : take('-') ? Kind::subtract : Kind::number;
      if (kind == Kind::number) return;
      product();
      combine(kind);
    }
  }
  void product() {
    sign();
    for (;;) {
      const Kind kind = take('*') ? Kind::multiply : take('/') ? Kind::divide : Kind::number;
      if (kind == Kind::number) return;
      sign();
      combine(kind);
    }
  }
  void sign() {
    bool negative = false;
    while (take('-')) negative = !negative;
    if (take('(')) {
      bracketed();
    } else if (at_ < text_.size() && (is_digit(text_[at_]) || text_[at_] == '.')) {
      number();
    } else if (at_ < text_.size() && is_letter(text_[at_])) {
      named();
    } else {
      fail("a number, a name or ( is missing before");
    }
    if (negative) out_.steps_.push_back({Kind::negate});
  }
  void bracketed() {
    if (++brackets_ > Expression::deepest) fail("too many brackets are open before");
    sum();
    if (!take(')')) fail(") is missing before");
    --brackets_;
  }
  void number() {
    double number = 0;
    const auto [end, error] = std::from_chars(text_.data() + at_, text_.data() + text_.size(), number);
    if (error != std::errc()) fail("no number:");
    at_ = static_cast<std::size_t>(end - text_.data());
    skip_blanks();
    push({Kind::number, 0, number});
  }
  void named() {
    const std::size_t begin = at_;
    const std::string_view name = word();
    if (take('(')) return call(name);
    if (const std::size_t place = attribute_place(name); place != npos) return attribute(Kind::value, name, place);
    if (const std::size_t place = place_in(names_.results, name); place != npos) return push({Kind::result, place});
    if (const std::size_t place = place_in(names_.parameters, name); place != npos) {
      return push({Kind::parameter, place});
    }
    at_ = begin;
    throw Fault(std::string(name) + " is no attribute, no parameter, and not calculated before");
  }
  void call(std::string_view name) {
    if (name != "rate" && name != "answered") {
      throw Fault(std::string(name) + "() is not known: there are rate() and answered()");
    }
    const std::string_view argument = word();
    const std::size_t place = attribute_place(argument);
    if (place == npos || !take(')')) throw Fault(std::string(name) + "() takes one attribute, as m1");
    attribute(name == "rate" ? Kind::rate : Kind::answered, argument, place);
  }
  void attribute(Kind kind, std::string_view name, std::size_t place) {
    if (place >= names_.attributes) {
      throw Fault(std::string(name) + " is not there: the type has " + std::to_string(names_.attributes) +
                  " attributes (mibname)");
    }
    auto& all = out_.attributes_;
    if (std::find(all.begin(), all.end(), place) == all.end()) all.push_back(place);
    push({kind, place});
  }

  std::string_view text_;
  const Names& names_;
  Expression& out_;
  std::size_t at_ = 0;
  std::size_t depth_ = 0;
  std::size_t brackets_ = 0;
};

Expression::Expression(std::string_view text, const Names& names) { Parser(text, names, *this).parse(); }

bool Expression::uses_rates() const noexcept {
  return std::any_of(steps_.begin(), steps_.end(), [](const Step& step) { return step.kind == Kind::rate; });
}

double Expression::operand(const Step& step, const Sample& sample) {
  switch (step.kind) {
    case Kind::value:
      return sample.values[step.at];
    case Kind::rate:
      return sample.rates[step.at];
    case Kind::answered:
      return sample.answered[step.at];
    case Kind::result:
      return sample.results[step.at];
    case Kind::parameter:
      return sample.parameters[step.at];
    default:
      return step.number;
  }
}

double Expression::operator()(const Sample& sample) const {
  std::array<double, deepest> stack{};
  std::size_t top = 0;  // numbers on it
  for (const Step& step : steps_) {
    if (step.kind < Kind::negate) {
      stack[top++] = operand(step, sample);
      continue;
    }
    if (step.kind == Kind::negate) {
      stack[top - 1] = -stack[top - 1];
      continue;
    }
    const double right = stack[--top];
    double& left = stack[top - 1];
    left = step.kind == Kind::add        ? left + right
           : step.kind == Kind::subtract ? left - right
           : step.kind == Kind::multiply ? left * right
                                         : left / right;
  }
  return std::isfinite(stack[0]) ? stack[0] : std::numeric_limits<double>::quiet_NaN();
}

}  // namespace report
