#include "manager/base/oid.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace ox::manager {

bool parse_oid(std::string_view text, Oid& oid) {
  oid.clear();
  const char* at = text.data();
  const char* const end = at + text.size();
  while (true) {
    std::uint32_t number = 0;
    const auto [next, error] = std::from_chars(at, end, number);
    if (error != std::errc{}) return false;
    oid.push_back(number);
    if (next == end) return true;
    if (*next != '.') return false;
    at = next + 1;
  }
}

std::optional<Oid> parse_oid(std::string_view text) {
  Oid oid;
  return parse_oid(text, oid) ? std::optional(std::move(oid)) : std::nullopt;
}

std::string oid_text(const Oid& oid) {
  std::string text;
  for (const std::uint32_t number : oid) {
    if (!text.empty()) text += '.';
    text += std::to_string(number);
  }
  return text;
}

bool is_under(const Oid& oid, const Oid& prefix) {
  return oid.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), oid.begin());
}

}  // namespace ox::manager
