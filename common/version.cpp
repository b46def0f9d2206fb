// Installed version texts.
#include <string_view>

#include <oxbase/oxc.h>

#include "common/ascii.h"
#include "common/trace.h"

namespace ox {
namespace {

std::string_view take_component(std::string_view& text) noexcept {
  const std::size_t dot = text.find('.');
  const std::string_view component = text.substr(0, dot);
  text.remove_prefix(dot == std::string_view::npos ? text.size() : dot + 1);
  return component;
}

// The digits at the front, without leading zeros: as texts they compare like the numbers, whatever their size.
std::string_view take_number(std::string_view& component) noexcept {
  while (!component.empty() && component.front() == '0') component.remove_prefix(1);
  std::size_t length = 0;
  while (length < component.size() && is_digit(component[length])) ++length;
  const std::string_view digits = component.substr(0, length);
  component.remove_prefix(length);
  return digits;
}

int sign(int value) noexcept { return (value > 0) - (value < 0); }

int compare_versions(std::string_view a, std::string_view b) noexcept {
  while (!a.empty() || !b.empty()) {
    std::string_view rest_a = take_component(a);
    std::string_view rest_b = take_component(b);
    const std::string_view number_a = take_number(rest_a);
    const std::string_view number_b = take_number(rest_b);
    if (number_a.size() != number_b.size()) return number_a.size() < number_b.size() ? -1 : 1;
    if (const int order = number_a.compare(number_b)) return sign(order);
    if (const int order = rest_a.compare(rest_b)) return sign(order);
  }
  return 0;
}

}  // namespace
}  // namespace ox

int32_t OX_CALL oxcVersionCmp(const char* a, const char* b) {
  OX_ENTRY("oxcVersionCmp", ":%s:%s", ox::trace::text(a), ox::trace::text(b));
  const int order = ox::compare_versions(a != nullptr ? a : "", b != nullptr ? b : "");
  OX_TRACE(ox::trace::general, "<E:oxcVersionCmp:[%d]>\n", order);
  return order;
}
