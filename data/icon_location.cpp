// Icon locations, stored as texts: "third,fourth,fifth,sixth,first,second".
#include <array>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "common/trace.h"
#include "data/dnode.h"

namespace ox::data {
namespace {

constexpr std::array stored_order{&oxIconLocation::field3, &oxIconLocation::field4, &oxIconLocation::field5,
                                  &oxIconLocation::field6, &oxIconLocation::field1, &oxIconLocation::field2};

OX_RESULT set_location(dnode& node, const oxIconLocation& location) noexcept {
  char text[80];
  int length = 0;
  for (const auto field : stored_order) {
    const std::size_t used = static_cast<std::size_t>(length);
    length += std::snprintf(text + used, sizeof text - used, used != 0 ? ",%d" : "%d", location.*field);
  }
  return set_value(node, OX_DISPLAYSTRING, reinterpret_cast<std::uintptr_t>(text), 0);
}

// One field's number, taken off the front of the text with the comma after it. False when there is none or it is too
// large.
bool take_number(std::string_view& text, std::int32_t& number) noexcept {
  const std::size_t end = text.find(',');
  std::uint64_t value = 0;
  const std::string_view digits = text.substr(0, end);
  if (digits.empty()) return false;
  for (const char digit : digits) {
    if (digit < '0' || digit > '9') return false;  // a sign too, although -1 is written
    value = value * 10 + static_cast<unsigned>(digit - '0');
    if (value > INT32_MAX) return false;
  }
  number = static_cast<std::int32_t>(value);
  // A comma at the end announces a field, which is empty then.
  text = end == std::string_view::npos ? std::string_view{} : text.substr(end + 1);
  return end == std::string_view::npos || !text.empty();
}

OX_RESULT get_location(const dnode& node, oxIconLocation& location) noexcept {
  if (!node.has(bit::value)) return OX_ENOVALUE;
  if (node.value.type != OX_DISPLAYSTRING) return OX_EFORMAT;
  std::string_view text = node.value.view();
  text = text.substr(0, text.find('\0'));
  oxIconLocation read{location.lead, -1, -1, -1, -1, -1, -1};
  for (const auto field : stored_order) {
    if (text.empty()) break;
    if (!take_number(text, read.*field)) return OX_EFORMAT;
  }
  if (!text.empty()) return OX_EFORMAT;
  location = read;
  return OX_OK;
}

}  // namespace
}  // namespace ox::data

using namespace ox;
using namespace ox::data;

OX_RESULT OX_CALL oxdSetIconLocation(dnode* node, const oxIconLocation* location) {
  OX_ENTRY("oxdSetIconLocation", ":%x:%x", trace::word(node), trace::word(location));
  return traced("oxdSetIconLocation", [&] {
    return node != nullptr && location != nullptr ? set_location(*node, *location) : OX_RESULT{OX_EARG};
  });
}

OX_RESULT OX_CALL oxdGetIconLocation(const dnode* node, oxIconLocation* location) {
  OX_ENTRY("oxdGetIconLocation", ":%x:%x", trace::word(node), trace::word(location));
  return traced("oxdGetIconLocation", [&] {
    return node != nullptr && location != nullptr ? get_location(*node, *location) : OX_RESULT{OX_EARG};
  });
}
